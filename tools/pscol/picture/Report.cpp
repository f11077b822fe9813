#include "pscol/picture/Report.h"

#include <algorithm>

#include "pscol/Text.h"
#include "pscol/picture/Html.h"
#include "pscol/picture/MapPicture.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Palette.h"
#include "pscol/picture/ReportCollections.h"
#include "pscol/picture/ReportPage.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

namespace {

using Align = HtmlTable::Align;

constexpr std::size_t mostBytes = 490000;  // of a page, without the links from the table to the pictures

std::string tile(const std::string& name, const std::string& value, const std::string& detail) {
  return "<div><dt>" + name + "</dt><dd>" + value + "<small>" + detail + "</small></dd></div>";
}

std::string verdict(const char* colour, const std::string& text) {
  return std::string("<div class=\"verdict ") + colour + "\">" + text + "</div>";
}

std::string placeText(const psFinding& finding) {
  std::string place = finding.database;
  if (!finding.container.empty()) place += " / " + finding.container;
  return place.empty() ? "" : htmlName(place);
}

std::string fieldsText(const psStoredClass& one) {
  const auto latest =
      std::max_element(one.layouts.begin(), one.layouts.end(),
                       [](const psStoredLayout& a, const psStoredLayout& b) { return a.number < b.number; });
  if (latest == one.layouts.end()) return "";
  std::string text;
  for (const psStoredLayout::Field& field : latest->fields)
    text += (text.empty() ? "" : ", ") + field.name + " " + field.type;
  return text;
}

std::uint64_t objectsOf(const psSurvey& survey) {
  std::uint64_t objects = 0;
  for (const auto& [typeN, count] : survey.classes) objects += typeN == 0 ? 0 : count.objects;
  return objects;
}

std::size_t namedContainers(const psDatabaseInfo& database) {
  return static_cast<std::size_t>(std::count_if(database.containers.begin(), database.containers.end(),
                                                [](const psContainerInfo& one) { return !one.name.empty(); }));
}

}  // namespace

std::string bothWidths(const std::function<Svg(double width)>& draw) {
  return "<figure>" + draw(wideWidth).element("wide") + draw(narrowWidth).element("narrow") + "</figure>";
}

std::string severityWord(Advice::Severity severity) {
  const char* colour = severity == Advice::Severity::fine ? "ok" : severity == Advice::Severity::note ? "half" : "low";
  return std::string("<b class=\"w ") + colour + "\">" + wordFor(severity) + "</b> ";
}

std::string Report::html() const {
  const StoreMap storeMap(data_.info, data_.survey, data_.classes, data_.owners);
  ReportCollections collections(data_);
  const std::string before =
      head() + header() + numbers(collections.named()) + check() + collections.adviceSection() + map(storeMap);
  const std::string after = schema(storeMap) + databases() + readers() +
                            "<footer>Sizes in kB and MB are powers of 10; tables give bytes. Red and amber never stand "
                            "alone: height, position "
                            "or a word says the same.</footer></main></body></html>\n";
  const std::size_t taken = before.size() + collections.tableSection().size() + after.size();
  const std::string pictures = collections.drawPictures(mostBytes - std::min(taken, mostBytes));
  return before + collections.tableSection() + pictures + after;
}

std::string Report::head() const {
  return "<!doctype html><html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" "
         "content=\"width=device-width,initial-scale=1\"><meta http-equiv=\"Content-Security-Policy\" "
         "content=\"default-src 'none';style-src 'unsafe-inline';img-src data:\"><title>" +
         htmlText(data_.storeName) + ": report</title><link rel=\"icon\" href=\"data:,\"><style>" + colourStyles() +
         pictureStyles() + pageStyles() + "</style></head><body>";
}

std::string Report::header() const {
  const psStoreInfo& info = data_.info;
  std::string facts = htmlText(info.format.empty() ? "A store" : info.format) + ", page image " +
                      counted(info.pageSize) + " bytes, commit " + counted(info.commit);
  if (info.lastCommitTime != 0) facts += " of " + timeText(info.lastCommitTime);
  std::string links;
  for (const char* name : {"Check", "Advice", "Map", "Collections", "Schema", "Databases"}) {
    std::string anchor = name;
    anchor[0] = static_cast<char>(anchor[0] - 'A' + 'a');
    links += "<a href=\"#" + anchor + "\">" + name + "</a>";
  }
  return "<header><h1><bdi>" + htmlText(data_.storeName) + "</bdi></h1><p class=\"q\">" + facts +
         "</p><nav aria-label=\"Sections\">" + links + "</nav></header><main>";
}

std::string Report::numbers(std::size_t namedCollections) const {
  const psStoreInfo& info = data_.info;
  std::size_t containers = 0;
  std::size_t named = 0;
  for (const psDatabaseInfo& database : data_.survey.databases) {
    containers += database.containers.size();
    named += namedContainers(database);
  }
  const bool hasFile = info.fileBytes > 0;
  std::string tiles =
      hasFile ? tile("File", bytesText(static_cast<double>(info.fileBytes)), counted(info.fileBytes) + " bytes")
              : tile("In memory", bytesText(static_cast<double>(data_.survey.recordBytes)), "there is no file");
  tiles += tile("Objects", counted(objectsOf(data_.survey)),
                bytesText(static_cast<double>(data_.survey.recordBytes)) + " of records");
  tiles += tile("Collections", counted(data_.collections.size()), counted(namedCollections) + " named");
  tiles += tile("Containers", counted(containers),
                counted(named) + " named, " + counted(data_.survey.databases.size(), "database"));
  if (hasFile)
    tiles +=
        tile("Free in the file",
             htmlText(percentText(share(static_cast<double>(info.freePages), static_cast<double>(info.enginePages)))),
             counted(info.freePages) + " of " + counted(info.enginePages) + " pages");
  return "<dl class=\"k\">" + tiles + "</dl>";
}

std::string Report::check() const {
  const std::string title = "<h2 id=\"check\">Check</h2>";
  const psVerifyReport& found = data_.verification;
  if (!data_.isVerified)
    return title + verdict("half", "<p><b>Not checked.</b> <code>pscol check --all</code> checks the store.</p>");
  const std::string seen = counted(found.records) + " records, " + counted(found.objects, "object") + " and " +
                           counted(found.collections, "collection");
  if (found.faultCount == 0 && found.isComplete)
    return title + verdict("ok", "<p><b>Whole.</b> " + seen + " were read and are sound.</p>") +
           findings(found.notes, found.noteCount, "Notes", 10000);
  if (found.faultCount == 0)
    return title + verdict("half", "<p><b>Not checked to the end.</b> No fault was found in " + seen + ".</p>");
  return title +
         verdict("low", "<p><b>Not whole: " + counted(found.faultCount, "fault") +
                            ".</b> Keep this file as it is. Restore a backup, or copy what can be read:<br><code>pscol "
                            "salvage " +
                            htmlText(data_.storeName) + " COPY</code></p>") +
         findings(found.faults, found.faultCount, "Faults", 20000) +
         findings(found.notes, found.noteCount, "Notes", 10000);
}

std::string Report::findings(const std::vector<psFinding>& list, std::uint64_t count, const std::string& title,
                             std::size_t most) const {
  if (list.empty()) return "";
  HtmlTable table(title, {{"Identifier"}, {"What was found", Align::wrap}, {"Database and container"}});
  table.setMostBytes(most);
  for (const psFinding& finding : list)
    table.add({finding.id.isNull() ? "" : "<code>" + idText(finding.id) + "</code>", htmlText(finding.text),
               placeText(finding)});
  return "<h3>" + title + ", " + counted(count) + "</h3>" + table.html("<code>pscol check --all</code> shows them");
}

std::string Report::map(const StoreMap& storeMap) const {
  const MapPicture picture(storeMap, data_.storeName, 150);
  return "<h2 id=\"map\">Map</h2><p class=\"q\">Area is bytes: databases, containers (a collection's own containers "
         "together), classes. Point at a field for its exact size.</p>" +
         bothWidths([&](double width) { return picture.draw(width, mapHeight(width), false); }) + mapTable(storeMap);
}

std::string Report::mapTable(const StoreMap& storeMap) const {
  HtmlTable table("The map as a table", {{"Database"},
                                         {"Container"},
                                         {"Containers", Align::right},
                                         {"Objects", Align::right},
                                         {"Bytes", Align::right},
                                         {"Of the store", Align::right}});
  table.setMostBytes(20000);
  struct Row {
    const MapField* database;
    const MapField* field;
  };
  std::vector<Row> rows;
  for (const MapField& database : storeMap.root().parts) {
    for (const MapField& field : database.parts) rows.push_back({&database, &field});
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row& a, const Row& b) { return a.field->bytes > b.field->bytes; });
  for (const Row& row : rows)
    table.add({htmlName(row.database->name), htmlName(row.field->name), counted(row.field->containers),
               counted(row.field->objects), counted(static_cast<std::uint64_t>(row.field->bytes)),
               htmlText(percentText(share(row.field->bytes, storeMap.root().bytes)))});
  if (table.isEmpty()) return "";
  return "<details><summary>The map as a table</summary>" + table.html("<code>pscol ls</code> shows them") +
         "</details>";
}

std::string Report::schema(const StoreMap& storeMap) const {
  HtmlTable table("Schema", {{"Number", Align::right},
                             {"Class"},
                             {"Layouts", Align::right},
                             {"Objects", Align::right},
                             {"Bytes", Align::right},
                             {"Of the store", Align::right},
                             {"Fields", Align::wrap}});
  for (const psStoredClass& one : data_.classes) {
    const auto found = data_.survey.classes.find(one.typeN);
    const psObjectCount count = found == data_.survey.classes.end() ? psObjectCount{} : found->second;
    table.add({std::to_string(one.typeN), htmlName(one.name), counted(one.layouts.size()), counted(count.objects),
               counted(count.bytes),
               htmlText(percentText(share(static_cast<double>(count.bytes), storeMap.root().bytes))),
               one.isSound ? htmlText(fieldsText(one)) : "its description is damaged"});
  }
  const std::string title = "<h2 id=\"schema\">Schema</h2>";
  if (table.isEmpty()) return title + "<p class=\"q\">The store knows no class.</p>";
  return title + table.html("<code>pscol schema</code> shows them");
}

std::string Report::databases() const {
  HtmlTable table("Databases", {{"Database"},
                                {"Containers", Align::right},
                                {"Named", Align::right},
                                {"Next number", Align::right},
                                {"Pages", Align::right},
                                {"Unreadable", Align::right},
                                {"Bytes of records", Align::right}});
  table.setMostBytes(20000);
  for (const psDatabaseInfo& database : data_.survey.databases) {
    std::uint64_t pages = 0;
    std::uint64_t unreadable = 0;
    std::uint64_t bytes = 0;
    for (const psContainerInfo& container : database.containers) {
      pages += container.pages;
      unreadable += container.unreadablePages;
      bytes += container.recordBytes;
    }
    table.add({htmlName(nameOf(database)), counted(database.containers.size()), counted(namedContainers(database)),
               counted(database.nextContainer), counted(pages), counted(unreadable), counted(bytes)});
  }
  const std::string title = "<h2 id=\"databases\">Databases</h2>";
  if (table.isEmpty()) return title + "<p class=\"q\">The store has no database.</p>";
  return title + table.html("<code>pscol ls</code> shows them");
}

std::string Report::readers() const {
  if (data_.info.readers.empty()) return "";
  HtmlTable table("Readers", {{"Process", Align::right},
                              {"Commit", Align::right},
                              {"Seen for seconds", Align::right},
                              {"Bytes that it pins", Align::right}});
  table.setMostBytes(5000);
  for (const psReader& reader : data_.info.readers)
    table.add({std::to_string(reader.process), counted(reader.commit), decimal(reader.seconds, 0),
               counted(reader.pinnedBytes)});
  return "<h3>Readers</h3>" + table.html("<code>pscol info</code> shows them");
}

}  // namespace pscol::picture
