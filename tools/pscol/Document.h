#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "pscol/Cell.h"

namespace pscol {

// What a command answers: facts, tables and sentences, in order. It is printed for people, or as one JSON object, in
// which each fact and each table has its key. So both have the same content.
class Document {
 public:
  // A fact with a key for JSON, and a label for people.
  void fact(std::string key, std::string label, Cell value);
  // A sentence for people. JSON has it in the array of that key, or not at all if that is "".
  void line(const std::string& key, std::string sentence);

  struct Column {
    std::string key;
    std::string label;
  };
  class Table {
   public:
    // As many cells as columns.
    void row(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }
    bool isEmpty() const { return rows_.empty(); }

   private:
    friend class Document;

    std::string key_;
    std::string title_;  // "" without one
    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
  };
  // The table stays valid as long as the document. It is not shown to people when it is empty.
  Table& table(std::string key, std::string title, std::vector<Column> columns);

  void printText(std::ostream& out) const;
  void printJson(std::ostream& out) const;

 private:
  struct Part {
    enum class Kind { fact, line, table } kind;
    std::string key;
    std::string label;
    Cell value;
    std::size_t table = 0;
  };
  static void printTable(const Table& table, std::ostream& out);

  std::vector<Part> parts_;
  std::vector<std::unique_ptr<Table>> tables_;
};

}  // namespace pscol
