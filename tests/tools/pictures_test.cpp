#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "Samples.h"
#include "pscol/picture/HashPicture.h"
#include "pscol/picture/MapPicture.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Report.h"
#include "pscol/picture/Text.h"
#include "pscol/picture/TreePicture.h"

using namespace pscol::picture;
using samples::makeStore;
using samples::makeTable;
using samples::makeTree;

namespace {

constexpr std::size_t mostBytes = 500000;
constexpr double widths[] = {1040, 344};

struct Tag {
  std::string name;
  std::map<std::string, std::string> attributes;

  double number(const std::string& attribute) const {
    const auto found = attributes.find(attribute);
    return found == attributes.end() ? std::nan("") : std::strtod(found->second.c_str(), nullptr);
  }
  bool has(const std::string& attribute) const { return attributes.count(attribute) != 0; }
};

struct Element {
  Tag tag;
  std::size_t parent;  // its place in the list of elements
};

// Reads what is written: elements with attributes in double quotes, properly nested, texts without < and >, and nothing
// that is not UTF-8. Fails the test, and returns nothing more, where that does not hold.
class MarkupReader {
 public:
  explicit MarkupReader(const std::string& text) : text_(text) {}

  std::vector<Element> read() {
    EXPECT_EQ(cleaned(strippedOfLines()), strippedOfLines()) << "characters that no page may have";
    while (at_ < text_.size() && sound_) step();
    EXPECT_TRUE(open_.empty()) << "not closed: " << (open_.empty() ? "" : elements_[open_.back()].tag.name);
    return elements_;
  }

 private:
  std::string strippedOfLines() const {
    std::string text = text_;
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
  }

  void fail(const std::string& why) {
    ADD_FAILURE() << why << " at " << at_ << ": " << text_.substr(at_, 60);
    sound_ = false;
  }

  void step() {
    if (text_[at_] != '<') {
      const std::size_t end = std::min(text_.find('<', at_), text_.size());
      const std::string content = text_.substr(at_, end - at_);
      const bool isStyle = !open_.empty() && elements_[open_.back()].tag.name == "style";
      if (!isStyle && content.find('>') != std::string::npos) return fail("a > in a text");
      for (std::size_t i = content.find('&'); !isStyle && i != std::string::npos; i = content.find('&', i + 1))
        if (content.find(';', i) > i + 6) return fail("a & that is not escaped");
      at_ = end;
    } else if (text_[at_ + 1] == '?' || text_[at_ + 1] == '!') {
      at_ = text_.find('>', at_) + 1;
    } else if (text_[at_ + 1] == '/') {
      const std::size_t end = text_.find('>', at_);
      const std::string name = text_.substr(at_ + 2, end - at_ - 2);
      if (open_.empty() || elements_[open_.back()].tag.name != name) return fail("closes what is not open");
      open_.pop_back();
      at_ = end + 1;
    } else {
      readTag();
    }
  }

  void readTag() {
    Tag tag;
    std::size_t end = text_.find_first_of(" />", ++at_);
    tag.name = text_.substr(at_, end - at_);
    at_ = end;
    while (text_[at_] == ' ') {
      const std::size_t equals = text_.find('=', at_);
      if (text_[equals + 1] != '"') return fail("an attribute without quotes");
      end = text_.find('"', equals + 2);
      const std::string value = text_.substr(equals + 2, end - equals - 2);
      if (value.find('<') != std::string::npos) return fail("a < in an attribute");
      if (!tag.attributes.emplace(text_.substr(at_ + 1, equals - at_ - 1), value).second)
        return fail("an attribute twice");
      at_ = end + 1;
    }
    const bool isClosed = text_[at_] == '/' || tag.name == "meta" || tag.name == "link" || tag.name == "br";
    elements_.push_back({tag, open_.empty() ? 0 : open_.back()});
    if (!isClosed) open_.push_back(elements_.size() - 1);
    at_ += text_[at_] == '/' ? 2 : 1;
  }

  const std::string& text_;
  std::size_t at_ = 0;
  bool sound_ = true;
  std::vector<std::size_t> open_;
  std::vector<Element> elements_;
};

std::vector<Element> elementsOf(const std::string& text) {
  EXPECT_LT(text.size(), mostBytes);
  return MarkupReader(text).read();
}

// The values that the bars of each plot stand for, plot by plot; of columns, their means. Bars must be as high as that.
std::vector<std::vector<double>> barsOf(const std::vector<Element>& elements) {
  std::vector<std::vector<double>> plots;
  std::map<std::size_t, std::size_t> plotOf;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& [tag, parent] = elements[i];
    if (tag.has("data-base")) {
      plotOf[i] = plots.size();
      plots.emplace_back();
      if (!tag.has("data-columns")) continue;
      const char* at = tag.attributes.at("data-columns").c_str();
      for (char* end = nullptr; *at != '\0'; at = end) plots.back().push_back(std::strtod(at, &end));
    } else if (tag.has("data-fill")) {
      const Tag& plot = elements[parent].tag;
      plots[plotOf.at(parent)].push_back(tag.number("data-fill"));
      EXPECT_NEAR(tag.number("height"), tag.number("data-fill") * plot.number("data-full"), 0.5);
      EXPECT_NEAR(tag.number("y") + tag.number("height"), plot.number("data-base"), 0.5);
    }
  }
  return plots;
}

Subject subject() { return {"shop/orders", "psTreeSet", {}, nullptr}; }

// What bars of these values are to show: the values, or the means of as many parts as there are columns.
void expectBars(const std::vector<double>& shown, const std::vector<double>& values) {
  ASSERT_FALSE(shown.empty());
  ASSERT_LE(shown.size(), values.size());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const std::size_t begin = i * values.size() / shown.size();
    const std::size_t end = (i + 1) * values.size() / shown.size();
    double sum = 0;
    for (std::size_t k = begin; k < end; ++k) sum += values[k];
    ASSERT_NEAR(shown[i], sum / static_cast<double>(end - begin), 0.0002) << i;
  }
}

std::size_t countOf(const std::vector<Element>& elements, const std::string& attribute) {
  return static_cast<std::size_t>(
      std::count_if(elements.begin(), elements.end(), [&](const Element& one) { return one.tag.has(attribute); }));
}

// Each field has the area of its bytes, and the fields of the store have all bytes. Returns their sum.
double bytesOfMap(const std::vector<Element>& elements) {
  double sum = 0;
  std::size_t root = 0;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& [tag, parent] = elements[i];
    if (root == 0 && tag.has("data-area-of-byte")) root = i;
    if (!tag.has("data-bytes")) continue;
    const double wanted = tag.number("data-bytes") * elements[parent].tag.number("data-area-of-byte");
    EXPECT_NEAR(tag.number("width") * tag.number("height"), wanted, std::max(0.01 * wanted, 2.0));
    if (parent == root) sum += tag.number("data-bytes");
  }
  return sum;
}

}  // namespace

TEST(Pictures, ShowTheFillOfEachNodeOfATree) {
  for (const std::uint64_t elements : {0, 1, 10, 5000, 100000, 1000000, 100000000}) {
    const samples::Tree tree = makeTree({psCollectionKind::sortedSet, elements});
    std::vector<double> leaves;
    for (const auto& leaf : tree.sketch.leaves()) leaves.push_back(leaf.fill());
    for (const double width : widths) {
      SCOPED_TRACE(std::to_string(elements) + " elements, " + std::to_string(width) + " pixels");
      const Subject of = subject();
      const auto plots = barsOf(elementsOf(TreePicture(tree.info, tree.sketch, of).draw(width, true).document()));
      const auto inner = tree.sketch.innerLevels();
      ASSERT_GE(plots.size(), inner.size() + 1);
      for (std::size_t level = 0; level < inner.size(); ++level) {
        std::vector<double> fills;
        for (const auto& node : inner[level]) fills.push_back(node.fill());
        expectBars(plots[level], fills);
      }
      expectBars(plots[inner.size()], leaves);
    }
  }
}

TEST(Pictures, ShowTheWayToAKey) {
  const samples::Tree tree = makeTree({psCollectionKind::sortedSet, 1000000});
  const auto& leaves = tree.sketch.leaves();
  const KeyInTree key{leaves[5000].id, 7, true, samples::oddNames()[0]};
  const Subject of = subject();
  const auto elements = elementsOf(TreePicture(tree.info, tree.sketch, of, key).draw(1040, false).element("wide"));
  std::vector<std::pair<double, double>> boxes;
  for (const Element& one : elements) {
    if (one.tag.has("class") && one.tag.attributes.at("class") == "o" && one.tag.number("height") > 20)
      boxes.emplace_back(one.tag.number("x"), one.tag.number("x") + one.tag.number("width"));
  }
  ASSERT_EQ(boxes.size(), tree.info.levels.size() + 1) << "one a level, and the magnified leaf";
  for (std::size_t i = 1; i + 1 < boxes.size(); ++i) {
    EXPECT_GE(boxes[i].first, boxes[i - 1].first);
    EXPECT_LE(boxes[i].second, boxes[i - 1].second + 4);
  }
}

TEST(Pictures, ShowNodesThatCannotBeRead) {
  samples::TreeShape shape{psCollectionKind::sortedMap, 5000};
  shape.isDamaged = [](std::size_t leaf) { return leaf == 0 || leaf == 3 || leaf == 4 || leaf == 20; };
  const samples::Tree tree = makeTree(shape);
  const Subject of = subject();
  const auto elements = elementsOf(TreePicture(tree.info, tree.sketch, of).draw(1040, true).document());
  EXPECT_EQ(countOf(elements, "data-unreadable"), 4U);
  EXPECT_EQ(adviceOn(tree.info, "").front().severity, Advice::Severity::damage);

  psTreeInfo info;  // of a tree whose root cannot be read
  TreeSketch sketch;
  psNodeInfo root;
  root.complaint = "is no node that can be read";
  sketch.add(root);
  elementsOf(TreePicture(info, sketch, of).draw(344, true).document());

  samples::TableShape table{5000};
  table.isDamaged = [](std::size_t bucket) { return bucket % 10 == 1; };
  const samples::Table made = makeTable(table);
  const auto drawn = elementsOf(HashPicture(made.info, made.sketch, of).draw(1040, true).document());
  EXPECT_EQ(countOf(drawn, "data-unreadable"), made.info.unreadable);
}

TEST(Pictures, ShowTheBucketsOfAHashTable) {
  for (const std::uint64_t elements : {0, 1, 10, 5000, 100000, 1000000, 100000000}) {
    for (const bool isUneven : {false, true}) {
      if (isUneven && elements > 1000000) continue;
      const samples::Table table = makeTable({elements, 101, 0.85, isUneven ? 5 : 0, isUneven});
      std::vector<double> fills;
      for (const auto& bucket : table.sketch.buckets()) fills.push_back(bucket.fill());
      for (const double width : widths) {
        SCOPED_TRACE(std::to_string(elements) + " elements, " + std::to_string(width) + " pixels");
        const Subject of = subject();
        const HashPicture picture(table.info, table.sketch, of,
                                  KeyInTable{table.sketch.buckets()[0].id, 3, true, "a key"});
        const auto plots = barsOf(elementsOf(picture.draw(width, true).document()));
        const std::size_t before = fills.size() > 1 ? 2 : 0;  // plots of hashes and of depths
        ASSERT_GT(plots.size(), before);
        expectBars(plots[before], fills);
        if (before == 0) continue;
        double counted = 0;
        for (const double part : plots[0]) counted += part;
        EXPECT_NEAR(counted, static_cast<double>(elements), 1 + static_cast<double>(elements) * 0.0001);
      }
    }
  }
}

TEST(Pictures, AdviseWhereThereIsSomethingToDo) {
  const auto of = [](const std::vector<Advice>& lines, const std::string& part) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const Advice& one) { return one.sentence.find(part) != std::string::npos; });
  };
  samples::TreeShape shape{psCollectionKind::sortedSet, 20000};
  EXPECT_EQ(adviceOn(makeTree(shape).info, "").front().severity, Advice::Severity::fine);
  shape.used = [](std::size_t) { return 25; };
  // 800 leaves, of which 100 would do.
  EXPECT_TRUE(of(adviceOn(makeTree(shape).info, ""), "Leaves are 12 % full: compact() would make 100 of 800 leaves") ||
              of(adviceOn(makeTree(shape).info, ""), "compact() would make 100 of 800 leaves"));
  shape.capacity = 8;
  shape.used = [](std::size_t) { return 5; };
  EXPECT_TRUE(of(adviceOn(makeTree(shape).info, ""), "200 would make 2 levels"));
  EXPECT_TRUE(of(adviceOn(makeTree(shape).info, ""), "setMaxVArraysPerContainer"));

  for (const std::uint64_t elements : {10, 1000, 50000, 300000}) {  // an even hash is fine at any size
    const samples::Table even = makeTable({elements});
    for (const Advice& one : adviceOn(even.info, even.sketch.tally(), ""))
      EXPECT_TRUE(one.severity == Advice::Severity::fine || one.sentence.find("containers") != std::string::npos)
          << one.sentence;
    if (elements > 1000) {
      EXPECT_NEAR(even.sketch.tally().hashesOfHalf(), 0.45, 0.06);
    }
  }
  const samples::Table uneven = makeTable({20000, 101, 0.85, 5, true});
  const auto lines = adviceOn(uneven.info, uneven.sketch.tally(), "");
  EXPECT_TRUE(of(lines, "the first bits are uneven"));
  EXPECT_TRUE(of(lines, "share their slot"));
  const Sharing even = uneven.sketch.tally().evenSharing();
  double sum = 0;
  for (const double part : even) sum += part;
  EXPECT_NEAR(sum, 20000, 1);

  ReportData store = makeStore({0, 0, 3, 10000});
  store.info.freePages = store.info.enginePages / 2;
  EXPECT_TRUE(of(adviceOn(store.info, store.survey), "of the file are free"));
  EXPECT_TRUE(of(adviceOn(store.info, store.survey), "10,003 of the 65,535 container numbers"));
}

TEST(Pictures, MapAllBytesOfAStore) {
  const std::vector<samples::StoreShape> shapes{{},
                                                {9, 60, 7, 4},
                                                {3, 5, 2, 0, 5, 0, false},
                                                {30, 40, 60, 9, 12, 30, true, true},
                                                {300, 300, 700, 9000, 9, 0, true, true}};
  for (const auto& shape : shapes) {
    const ReportData store = makeStore(shape);
    const StoreMap map(store.info, store.survey, store.classes, store.owners);
    for (const double width : widths) {
      const auto elements = elementsOf(MapPicture(map, store.storeName).draw(width, mapHeight(width), true).document());
      EXPECT_NEAR(bytesOfMap(elements), map.root().bytes, 5);
      if (shape.hasFile) {
        EXPECT_NEAR(map.root().bytes, static_cast<double>(store.info.fileBytes), 1);
      }
    }
  }
}

TEST(Pictures, ReportsAreSmallAndNeedNothingElse) {
  const std::vector<samples::StoreShape> shapes{{},
                                                {9, 60, 7, 4},
                                                {3, 5, 2, 0, 5, 0, false},
                                                {30, 40, 60, 9, 12, 30, true, true},
                                                {600, 100, 2000, 9000, 2000, 5000, true, true}};
  for (const auto& shape : shapes) {
    const ReportData store = makeStore(shape);
    const std::string page = Report(store).html();
    const auto elements = elementsOf(page);
    std::map<std::string, std::size_t> names;
    for (const Element& one : elements) {
      ++names[one.tag.name];
      for (const char* attribute : {"src", "href", "xlink:href"}) {
        if (!one.tag.has(attribute)) continue;
        const std::string& link = one.tag.attributes.at(attribute);
        EXPECT_TRUE(link == "data:," || link[0] == '#') << link;
        const auto isTarget = [&](const Element& other) {
          return other.tag.has("id") && "#" + other.tag.attributes.at("id") == link;
        };
        EXPECT_TRUE(link[0] != '#' || std::any_of(elements.begin(), elements.end(), isTarget)) << link;
      }
    }
    EXPECT_EQ(names["script"], 0U);
    EXPECT_EQ(page.find("url("), std::string::npos);
    const std::size_t drawn = 2 * (1 + std::min<std::size_t>(shape.collections, 5));
    EXPECT_LE(names["svg"], drawn);
    EXPECT_GE(names["svg"], shape.collections > 100 ? 4 : drawn);
    if (shape.faults > 0) {
      EXPECT_NE(page.find("Not whole: " + counted(shape.faults)), std::string::npos);
    }
  }
}

TEST(Pictures, CutTextsOfAnyScript) {
  for (const std::string& name : samples::oddNames()) {
    const std::string clean = cleaned(name);
    EXPECT_EQ(cleaned(clean), clean);
    for (const char c : {'<', '>', '"'}) EXPECT_EQ(escaped(name).find(c), std::string::npos);
    for (double room = 0; room < 300; room += 7) {
      for (const Weight weight : {Weight::normal, Weight::bold}) {
        for (const std::string& cut : {fitted(clean, room, 12, weight), fittedInMiddle(clean, room, 12, weight)}) {
          EXPECT_LE(textWidth(cut, 12, weight), room);
          EXPECT_EQ(cleaned(cut), cut) << "a character was cut apart";
        }
      }
    }
    EXPECT_EQ(shortened(clean, 1000), clean);
  }
}

TEST(Pictures, WriteNumbersForReaders) {
  EXPECT_EQ(counted(1234567), "1,234,567");
  EXPECT_EQ(counted(1, "leaf", "leaves"), "1 leaf");
  EXPECT_EQ(bytesText(999), "999\u00A0B");
  EXPECT_EQ(bytesText(999.6), "1.00\u00A0kB");
  EXPECT_EQ(bytesText(1034000), "1.03\u00A0MB");
  EXPECT_EQ(bytesText(99960000), "100\u00A0MB");
  EXPECT_EQ(percentText(0.0001), "<1\u00A0%");
  EXPECT_EQ(percentText(0.9999), ">99\u00A0%");
  EXPECT_EQ(percentText(1), "100\u00A0%");
  EXPECT_EQ(coordinate(-0.001), "0");
  EXPECT_EQ(coordinate(12.50), "12.5");
}
