#include "pscol/Cell.h"

#include <nlohmann/json.hpp>

#include "pscol/Text.h"

namespace pscol {

Cell::Cell(const psId& id) {
  if (!id.isNull()) value_ = idText(id);
}

Cell Cell::bytes(std::uint64_t number) {
  Cell cell{Value(number)};
  cell.text_ = bytesText(number);
  return cell;
}

Cell Cell::exactBytes(std::uint64_t number) {
  Cell cell{Value(number)};
  cell.text_ = countText(number) + " bytes";
  return cell;
}

Cell Cell::share(double part) {
  Cell cell{Value(part)};
  cell.text_ = shareText(part);
  return cell;
}

Cell Cell::seconds(double duration) {
  Cell cell{Value(duration)};
  cell.text_ = durationText(duration);
  return cell;
}

Cell Cell::time(std::int64_t secondsSince1970) {
  return secondsSince1970 == 0 ? Cell() : Cell(timeText(secondsSince1970));
}

Cell Cell::json(std::string text, const Json& value) {
  Cell cell{Value(std::make_shared<const Json>(value))};
  cell.text_ = std::move(text);
  return cell;
}

std::string Cell::plainText() const {
  if (const bool* const is = std::get_if<bool>(&value_)) return *is ? "yes" : "no";
  if (const auto* const number = std::get_if<std::uint64_t>(&value_)) return countText(*number);
  if (const auto* const text = std::get_if<std::string>(&value_)) return printable(*text);
  return "-";
}

Json Cell::toJson() const {
  if (const bool* const is = std::get_if<bool>(&value_)) return *is;
  if (const auto* const number = std::get_if<std::uint64_t>(&value_)) return *number;
  if (const auto* const number = std::get_if<double>(&value_)) return *number;
  if (const auto* const text = std::get_if<std::string>(&value_)) return textJson(*text);
  if (const auto* const json = std::get_if<std::shared_ptr<const Json>>(&value_)) return **json;
  return nullptr;
}

}  // namespace pscol
