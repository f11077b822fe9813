#include "pscol/picture/ReportCollections.h"

#include <algorithm>
#include <map>

#include "pscol/Text.h"
#include "pscol/picture/HashPicture.h"
#include "pscol/picture/Html.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/ReportPage.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Text.h"
#include "pscol/picture/TreePicture.h"

namespace pscol::picture {

namespace {

using Align = HtmlTable::Align;

constexpr std::size_t mostPictures = 5;
constexpr std::size_t mostAdviceBytes = 30000;
constexpr std::size_t mostFineNames = 30;

std::string nameOf(const ReportedCollection& collection) {
  return collection.path.empty() ? idText(collection.id) : collection.path;
}

std::string adviceItem(const Advice& advice) {
  return "<li>" + severityWord(advice.severity) + (advice.subject.empty() ? "" : htmlName(advice.subject) + " ") +
         htmlText(advice.sentence) + "</li>";
}

double fillOf(const ReportedCollection& collection) {
  if (collection.isTable()) return HashPicture::fill(collection.table);
  return collection.tree.levels.empty() ? 0 : collection.tree.levels.back().fill();
}

std::string anchorOf(const ReportedCollection& collection) { return "c-" + idText(collection.id); }

}  // namespace

std::vector<Advice> adviceOn(const ReportedCollection& collection) {
  const std::string name = nameOf(collection);
  if (!collection.complaint.empty())
    return {{Advice::Severity::damage,
             idText(collection.id) + " " + collection.complaint +
                 ". Restore a backup, or copy what can be read with pscol salvage.",
             name}};
  return collection.isTable() ? adviceOn(collection.table, collection.tally, name) : adviceOn(collection.tree, name);
}

ReportCollections::ReportCollections(const ReportData& data) : data_(data) {
  for (const ReportedCollection& collection : data.collections) {
    entries_.push_back({&collection, adviceOn(collection)});
    if (!collection.path.empty()) ++named_;
  }
  // An unnamed collection is one of many, in most stores.
  const auto rank = [](const Entry& entry) {
    return std::make_tuple(entry.severity(), !entry.collection->path.empty(), entry.collection->info().bytes);
  };
  std::stable_sort(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) { return rank(a) > rank(b); });
}

std::string ReportCollections::adviceSection() const {
  std::vector<Advice> lines = adviceOn(data_.info, data_.survey);
  for (const Entry& entry : entries_) {
    if (entry.severity() != Advice::Severity::fine) lines.insert(lines.end(), entry.advice.begin(), entry.advice.end());
  }
  std::stable_sort(lines.begin(), lines.end(),
                   [](const Advice& a, const Advice& b) { return a.severity > b.severity; });
  std::string items;
  std::size_t shown = 0;
  for (; shown < lines.size() && items.size() < mostAdviceBytes; ++shown) items += adviceItem(lines[shown]);
  if (shown < lines.size())
    items +=
        "<li>And " + counted(lines.size() - shown) + " more: <code>pscol stat</code> of a collection shows them.</li>";
  return "<h2 id=\"advice\">Advice</h2><ul class=\"a\">" + items + fineLine() + "</ul>";
}

std::string ReportCollections::fineLine() const {
  std::string names;
  std::size_t count = 0;
  for (const Entry& entry : entries_) {
    if (entry.severity() != Advice::Severity::fine || entry.collection->path.empty()) continue;
    if (++count <= mostFineNames) names += (names.empty() ? "" : ", ") + htmlName(entry.collection->path, 40);
  }
  if (count > mostFineNames) names += " and " + counted(count - mostFineNames) + " more";
  if (count == 0) names = entries_.empty() ? "There are no collections." : "";
  return names.empty() ? "" : "<li>" + severityWord(Advice::Severity::fine) + names + "</li>";
}

std::string ReportCollections::tableSection() const {
  std::string html = "<h2 id=\"collections\">Collections</h2>";
  if (named_ > 0) {
    HtmlTable table("Collections", {{"Collection"},
                                    {"Class"},
                                    {"Elements", Align::right},
                                    {"Levels or bits", Align::right},
                                    {"Nodes or buckets", Align::right},
                                    {"Full", Align::right},
                                    {"Bytes", Align::right},
                                    {"Bytes an element", Align::right},
                                    {"Containers", Align::right},
                                    {"State"}});
    table.setMostBytes(70000);
    for (const Entry& entry : entries_) {
      const ReportedCollection& one = *entry.collection;
      if (one.path.empty()) continue;
      const psCollectionInfo& info = one.info();
      const bool isKnown = one.complaint.empty();
      const auto number = [&](std::uint64_t value) { return isKnown ? counted(value) : "?"; };
      const std::string name = htmlName(one.path);
      table.add({pictured_.count(&one) == 0 ? name : "<a href=\"#" + anchorOf(one) + "\">" + name + "</a>",
                 htmlText(one.className), number(info.elements),
                 number(one.isTable() ? static_cast<std::uint64_t>(one.table.depth) : one.tree.levels.size()),
                 number(info.parts), isKnown ? htmlText(percentText(fillOf(one))) : "?", number(info.bytes),
                 isKnown && info.elements > 0
                     ? decimal(static_cast<double>(info.bytes) / static_cast<double>(info.elements), 1)
                     : "",
                 number(info.containers), severityWord(entry.severity())});
    }
    html += table.html("<code>pscol ls</code> shows them");
    html +=
        "<p class=\"q\">Below are those that need the most attention. <code>pscol graph</code> draws any other "
        "one.</p>";
  }
  return html + unnamedTable();
}

// There may be many thousands of them; so they are summed up.
std::string ReportCollections::unnamedTable() const {
  std::map<std::string, std::vector<const ReportedCollection*>> byClass;
  for (const Entry& entry : entries_) {
    if (entry.collection->path.empty() && entry.collection->complaint.empty())
      byClass[entry.collection->className].push_back(entry.collection);
  }
  if (byClass.empty()) return "";
  HtmlTable table("Collections without a name", {{"Class"},
                                                 {"Collections", Align::right},
                                                 {"Elements", Align::right},
                                                 {"Fewest", Align::right},
                                                 {"Median", Align::right},
                                                 {"90 %", Align::right},
                                                 {"Most", Align::right},
                                                 {"Bytes", Align::right}});
  for (auto& [name, collections] : byClass) {
    std::vector<std::uint64_t> sizes;
    std::uint64_t elements = 0;
    std::uint64_t bytes = 0;
    for (const ReportedCollection* one : collections) {
      sizes.push_back(one->info().elements);
      elements += one->info().elements;
      bytes += one->info().bytes;
    }
    std::sort(sizes.begin(), sizes.end());
    table.add({htmlText(name), counted(sizes.size()), counted(elements), counted(sizes.front()),
               counted(sizes[sizes.size() / 2]), counted(sizes[sizes.size() * 9 / 10]), counted(sizes.back()),
               counted(bytes)});
  }
  return "<h3>Without a name</h3>" + table.html("<code>pscol ls</code> shows them");
}

std::string ReportCollections::drawPictures(std::size_t mostBytes) {
  std::string html;
  pictured_.clear();
  for (const Entry& entry : entries_) {
    if (pictured_.size() == mostPictures) break;
    if (!entry.collection->complaint.empty()) continue;
    const std::string one = block(entry);
    if (html.size() + one.size() > mostBytes) continue;
    html += one;
    pictured_.insert(entry.collection);
  }
  return html;
}

std::string ReportCollections::block(const Entry& entry) const {
  const ReportedCollection& one = *entry.collection;
  std::string items;
  for (const Advice& advice : entry.advice)
    items += "<li>" + severityWord(advice.severity) + htmlText(advice.sentence) + "</li>";
  return "<h3 id=\"" + anchorOf(one) + "\"><bdi>" + htmlText(nameOf(one)) + "</bdi></h3><p class=\"q\">" +
         htmlText(one.className) + ", identifier <code>" + idText(one.id) + "</code>. " +
         escaped(one.isTable() ? HashPicture::facts(one.table) : TreePicture::facts(one.tree)) +
         ".</p><ul class=\"a\">" + items + "</ul>" + figure(entry);
}

std::string ReportCollections::figure(const Entry& entry) const {
  const ReportedCollection& one = *entry.collection;
  Subject subject{nameOf(one), one.className, entry.advice, nullptr};
  if (data_.labelOf != nullptr) subject.labelOf = [&](const psId& element) { return data_.labelOf(one, element); };
  if (one.isTable()) {
    HashSketch sketch;
    if (data_.sketchTable == nullptr || !data_.sketchTable(one, sketch)) return "";
    const HashPicture picture(one.table, sketch, subject);
    return bothWidths([&](double width) { return picture.draw(width, false); });
  }
  TreeSketch sketch;
  if (data_.sketchTree == nullptr || !data_.sketchTree(one, sketch)) return "";
  const TreePicture picture(one.tree, sketch, subject);
  return bothWidths([&](double width) { return picture.draw(width, false); });
}

}  // namespace pscol::picture
