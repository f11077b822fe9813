#pragma once

#include <store/base/psId.h>

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <variant>

namespace pscol {

using Json = nlohmann::ordered_json;

// A value in a command's output: as people read it, and as JSON.
class Cell {
 public:
  Cell() = default;  // nothing: "-", null
  Cell(std::string text) : value_(std::move(text)) {}
  Cell(const char* text) : value_(std::string(text)) {}
  Cell(const psId& id);  // as in "1-2-3-4"; nothing for the null identifier

  static Cell yesNo(bool is) { return Cell(Value(is)); }
  static Cell count(std::uint64_t number) { return Cell(Value(number)); }
  static Cell bytes(std::uint64_t number);
  static Cell exactBytes(std::uint64_t number);
  static Cell share(double part);  // of 1
  static Cell seconds(double duration);
  static Cell time(std::int64_t secondsSince1970);
  // JSON as it is, with what people read.
  static Cell json(std::string text, const Json& value);

  std::string text() const { return text_.empty() ? plainText() : text_; }
  Json toJson() const;
  bool isNumber() const {
    return std::holds_alternative<std::uint64_t>(value_) || std::holds_alternative<double>(value_);
  }

 private:
  using Value = std::variant<std::monostate, bool, std::uint64_t, double, std::string, std::shared_ptr<const Json>>;
  explicit Cell(Value value) : value_(std::move(value)) {}
  std::string plainText() const;

  Value value_;
  std::string text_;  // where it is not the plain one
};

}  // namespace pscol
