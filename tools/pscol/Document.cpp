#include "pscol/Document.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "pscol/Text.h"

namespace pscol {

namespace {

std::string padding(std::size_t width, const std::string& text) {
  const std::size_t columns = columnsOf(text);
  return std::string(width > columns ? width - columns : 0, ' ');
}

}  // namespace

void Document::fact(std::string key, std::string label, Cell value) {
  parts_.push_back({Part::Kind::fact, std::move(key), std::move(label), std::move(value)});
}

void Document::line(const std::string& key, std::string sentence) {
  parts_.push_back({Part::Kind::line, key, std::move(sentence), {}});
}

Document::Table& Document::table(std::string key, std::string title, std::vector<Column> columns) {
  parts_.push_back({Part::Kind::table, key, "", {}, tables_.size()});
  Table& table = *tables_.emplace_back(std::make_unique<Table>());
  table.key_ = std::move(key);
  table.title_ = std::move(title);
  table.columns_ = std::move(columns);
  return table;
}

void Document::printText(std::ostream& out) const {
  std::size_t width = 0;
  for (const Part& part : parts_) {
    if (part.kind == Part::Kind::fact) width = std::max(width, columnsOf(part.label));
  }
  for (const Part& part : parts_) {
    if (part.kind == Part::Kind::line) out << part.label << '\n';
    if (part.kind == Part::Kind::fact)
      out << part.label << padding(width, part.label) << "  " << part.value.text() << '\n';
    if (part.kind == Part::Kind::table && !tables_[part.table]->isEmpty()) {
      if (&part != &parts_.front()) out << '\n';
      printTable(*tables_[part.table], out);
    }
  }
}

// Numbers stand on the right.
void Document::printTable(const Table& table, std::ostream& out) {
  if (!table.title_.empty()) out << table.title_ << '\n';
  const std::size_t columns = table.columns_.size();
  std::vector<std::size_t> widths(columns);
  std::vector<bool> isRight(columns, false);
  for (std::size_t i = 0; i < columns; ++i) {
    widths[i] = columnsOf(table.columns_[i].label);
    for (const std::vector<Cell>& row : table.rows_) {
      widths[i] = std::max(widths[i], columnsOf(row[i].text()));
      isRight[i] = isRight[i] || row[i].isNumber();
    }
  }
  const auto printRow = [&](const auto& textAt) {
    std::string line;
    for (std::size_t i = 0; i < columns; ++i) {
      const std::string text = textAt(i);
      const std::string space = padding(widths[i], text);
      line += (i > 0 ? "  " : "") + (isRight[i] ? space + text : text + space);
    }
    out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
  };
  printRow([&](std::size_t i) { return table.columns_[i].label; });
  for (const std::vector<Cell>& row : table.rows_) printRow([&](std::size_t i) { return row[i].text(); });
}

void Document::printJson(std::ostream& out) const {
  Json all = Json::object();
  for (const Part& part : parts_) {
    if (part.key.empty()) continue;
    if (part.kind == Part::Kind::fact) all[part.key] = part.value.toJson();
    if (part.kind == Part::Kind::line) all[part.key].push_back(part.label);
    if (part.kind != Part::Kind::table) continue;
    const Table& table = *tables_[part.table];
    Json& rows = all[part.key] = Json::array();
    for (const std::vector<Cell>& row : table.rows_) {
      Json object = Json::object();
      for (std::size_t i = 0; i < row.size(); ++i) object[table.columns_[i].key] = row[i].toJson();
      rows.push_back(std::move(object));
    }
  }
  out << all.dump(2) << '\n';
}

}  // namespace pscol
