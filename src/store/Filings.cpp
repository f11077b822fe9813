#include "store/Filings.h"

#include <cstdlib>
#include <tuple>

#include "store/base/FiledName.h"

namespace ps::detail {

psFiling filingOf(const std::string& name, const psId& object) {
  psFiling filing;
  filing.text = textOfFiled(name);
  filing.object = object;
  if (isFiledNumber(name)) {
    filing.kind = psFiling::Kind::number;
    filing.number = std::strtoll(filing.text.c_str(), nullptr, 10);
  } else if (!isFiledName(name)) {
    filing.kind = psFiling::Kind::bytes;
  }
  return filing;
}

bool precedes(const psFiling& a, const psFiling& b) {
  return std::tie(a.kind, a.number, a.text) < std::tie(b.kind, b.number, b.text);
}

}  // namespace ps::detail
