#include "store/StoreObjects.h"

#include <algorithm>

namespace ps::test {

PS_REGISTER_CLASS(Flat)
PS_REGISTER_CLASS(Blob)
PS_REGISTER_CLASS(Linked)
PS_REGISTER_CLASS(Brick)

int Blob::fill(const std::string& content) {
  if (bytes.resize(static_cast<unsigned int>(content.size())) != 1) return 0;
  if (!content.empty()) content.copy(bytes.head(), content.size());
  return 1;
}

void Brick::set(std::uint64_t n) {
  for (std::uint64_t& word : words) word = n++;
}

bool Brick::is(std::uint64_t n) const {
  return std::all_of(std::begin(words), std::end(words), [&n](std::uint64_t word) { return word == n++; });
}

std::uint64_t Brick::walkThenSet(const pstHandle<psContObj>& container, std::uint64_t n) {
  std::uint64_t sum = 0;
  pstItr<Brick> brick;
  brick.scan(container, pscRead);
  while (brick.next()) sum += brick->words[0];
  set(n);
  return sum;
}

Content contentOf(const pstHandle<psObj>& object) {
  Content content;
  content.typeN = object.typeN();
  if (content.typeN == Flat::pstTypeN) {
    const pstHandle<Flat> flat(object);
    if (flat.open(pscRead) != 1) return Content();
    content.number = flat->number;
    content.links = {flat->other.oid()};
  } else {
    const pstHandle<Blob> blob(object);
    if (blob.open(pscRead) != 1) return Content();
    content.number = blob->number;
    content.bytes.assign(blob->bytes.head(), blob->bytes.size());
    if (content.typeN == Linked::pstTypeN) {
      const auto& links = static_cast<const Linked&>(*blob).links;
      for (unsigned int i = 0; i < links.size(); ++i) content.links.push_back(links.elem(i)->oid());
    }
  }
  return content;
}

std::string pattern(std::uint64_t seed, std::size_t size) {
  std::string text(size, '\0');
  for (char& c : text) {
    seed = seed * 6364136223846793005U + 1442695040888963407U;
    c = static_cast<char>(seed >> 56);
  }
  return text;
}

}  // namespace ps::test
