#include "Samples.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace samples {

namespace {

using namespace std::string_literals;

psId idOf(std::size_t number) {
  return {1, static_cast<unsigned short>(number / 60000 + 1), static_cast<unsigned short>(number % 60000 / 100 + 1),
          static_cast<unsigned short>(number % 100 + 1)};
}

// Builds the levels from the leaves up, then visits them from the root down.
class TreeMaker {
 public:
  explicit TreeMaker(const TreeShape& shape) : shape_(shape) {}

  Tree make() {
    makeLeaves();
    while (levels_.back().size() > 1) makeLevel();
    std::reverse(levels_.begin(), levels_.end());
    tree_.info.id = idOf(1);
    tree_.info.kind = shape_.kind;
    tree_.info.capacity = shape_.capacity;
    tree_.info.levels.resize(levels_.size());
    visit(0, 0, 0);
    tree_.info.containers = tree_.info.parts;
    return std::move(tree_);
  }

 private:
  struct Node {
    std::uint32_t used = 0;
    std::size_t begin = 0;  // its children
  };

  void makeLeaves() {
    levels_.emplace_back();
    std::uint64_t left = shape_.elements;
    do {
      const std::uint32_t used =
          std::min<std::uint32_t>({shape_.used(levels_[0].size()), shape_.capacity,
                                   static_cast<std::uint32_t>(std::min<std::uint64_t>(left, 1U << 30))});
      levels_[0].push_back({used, 0});
      left -= used;
    } while (left > 0);
  }

  void makeLevel() {
    std::vector<Node> level;
    const std::size_t children = levels_.back().size();
    const std::size_t each = std::max<std::size_t>(shape_.capacity * 7 / 10, 2);
    for (std::size_t begin = 0; begin < children; begin += each)
      level.push_back({static_cast<std::uint32_t>(std::min(each, children - begin)), begin});
    levels_.push_back(std::move(level));
  }

  void visit(std::size_t level, std::size_t index, std::uint32_t child) {
    const Node& node = levels_[level][index];
    psNodeInfo info;
    info.id = idOf(tree_.info.parts + 1);
    info.level = static_cast<int>(level) + 1;
    info.child = child;
    info.elementsBefore = tree_.info.elements;
    info.isLeaf = level + 1 == levels_.size();
    if (info.isLeaf && shape_.isDamaged(index)) {
      info.isLeaf = false;
      info.complaint = "has entries that cannot be read";
    } else {
      info.used = node.used;
      info.capacity = shape_.capacity;
      info.first = idOf(tree_.info.elements * 7 + 5);
      info.bytes = 60 + std::uint64_t{8} * shape_.capacity;
      if (info.isLeaf) tree_.info.elements += node.used;
    }
    count(info);
    tree_.sketch.add(info);
    for (std::uint32_t i = 0; level + 1 < levels_.size() && i < node.used; ++i) visit(level + 1, node.begin + i, i);
  }

  void count(const psNodeInfo& node) {
    psTreeLevel& level = tree_.info.levels[static_cast<std::size_t>(node.level) - 1];
    ++level.nodes;
    ++tree_.info.parts;
    tree_.info.bytes += node.bytes;
    level.used += node.used;
    level.capacity += node.capacity;
    if (!node.isReadable()) {
      ++level.unreadable;
      ++tree_.info.unreadable;
    }
  }

  const TreeShape& shape_;
  Tree tree_;
  std::vector<std::vector<Node>> levels_;
};

class TableMaker {
 public:
  explicit TableMaker(const TableShape& shape) : shape_(shape) {}

  Table make() {
    divide(shape_.elements, 0, 0);
    for (const Part& part : parts_) table_.info.depth = std::max(table_.info.depth, part.depth);
    table_.info.id = idOf(1);
    table_.info.kind = psCollectionKind::hashSet;
    table_.info.slots = shape_.slots;
    for (std::size_t i = 0; i < parts_.size(); ++i) add(parts_[i], i);
    table_.info.containers = table_.info.parts;
    return std::move(table_);
  }

 private:
  struct Part {
    std::uint64_t elements;
    int depth;
    std::uint32_t prefix;
  };

  void divide(std::uint64_t elements, int depth, std::uint32_t prefix) {
    if (static_cast<double>(elements) <= 0.9 * shape_.slots || depth == 22)
      return parts_.push_back({elements, depth, prefix});
    const double share = depth < shape_.skewedBits ? shape_.skew : 0.5;
    std::normal_distribution<double> spread(static_cast<double>(elements) * share,
                                            std::sqrt(static_cast<double>(elements) * share * (1 - share)));
    const auto lower = static_cast<std::uint64_t>(std::clamp(spread(random_), 0.0, static_cast<double>(elements)));
    divide(lower, depth + 1, prefix << 1);
    divide(elements - lower, depth + 1, prefix << 1 | 1);
  }

  // Buckets with as many elements share their slots alike.
  const std::vector<std::uint32_t>& sharingFor(std::uint64_t elements) {
    std::vector<std::uint32_t>& sharing = sharings_[elements];
    if (!sharing.empty()) return sharing;
    std::vector<std::uint32_t> slots(shape_.slots);
    std::uniform_int_distribution<std::size_t> any(0, shape_.isClustered ? shape_.slots / 6 : shape_.slots - 1);
    for (std::uint64_t i = 0; i < elements; ++i) ++slots[any(random_)];
    for (const std::uint32_t held : slots) {
      if (sharing.size() <= held) sharing.resize(held + 1);
      ++sharing[held];
    }
    return sharing;
  }

  void add(const Part& part, std::size_t index) {
    psBucketInfo bucket;
    bucket.id = idOf(index + 2);
    bucket.places = 1U << (table_.info.depth - part.depth);
    bucket.first = part.prefix * bucket.places;
    ++table_.info.parts;
    if (shape_.isDamaged(index)) {
      bucket.complaint = "is no bucket that can be read";
      ++table_.info.unreadable;
    } else {
      fill(bucket, part);
    }
    table_.sketch.add(bucket);
  }

  void fill(psBucketInfo& bucket, const Part& part) {
    psHashInfo& info = table_.info;
    bucket.depth = part.depth;
    bucket.slots = shape_.slots;
    bucket.elements = static_cast<std::uint32_t>(part.elements);
    bucket.sharing = sharingFor(part.elements);
    bucket.bytes = 60 + std::uint64_t{8} * shape_.slots;
    info.elements += bucket.elements;
    info.bytes += bucket.bytes;
    info.sharing.resize(std::max(info.sharing.size(), bucket.sharing.size()));
    for (std::size_t k = 0; k < bucket.sharing.size(); ++k) info.sharing[k] += bucket.sharing[k];
  }

  const TableShape& shape_;
  Table table_;
  std::vector<Part> parts_;
  std::map<std::uint64_t, std::vector<std::uint32_t>> sharings_;
  std::mt19937 random_{7};
};

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

std::string nameFor(const StoreShape& shape, const std::string& plain, std::size_t i) {
  return plain + std::to_string(i) + (shape.hasOddNames ? " " + oddNames()[i % oddNames().size()] : std::string());
}

psContainerInfo makeContainer(std::size_t number, const std::string& name, unsigned int typeN, std::uint64_t bytes) {
  psContainerInfo container;
  container.id = {static_cast<unsigned short>(number / 65000 + 1), static_cast<unsigned short>(number % 65000 + 1), 0,
                  0};
  container.name = name;
  container.pages = bytes / 4096 + 1;
  container.recordBytes = bytes;
  container.fileBytes = bytes + bytes / 10;
  container.classes[typeN] = {bytes / 50, bytes * 3 / 4};
  if (number % 3 == 0) container.classes[20009] = {bytes / 90, bytes / 5};
  for (const auto& [type, count] : container.classes) container.all.add(count);
  return container;
}

void addFaults(pscol::picture::ReportData& store, std::size_t faults) {
  psVerifyReport& report = store.verification;
  report.faultCount = faults;
  for (std::size_t i = 0; i < std::min<std::size_t>(faults, report.mostFindings); ++i) {
    psFinding finding;
    finding.id = idOf(i + 1);
    finding.text = "The page " + std::to_string(i) + " does not match its checksum.";
    finding.database = "shop";
    finding.container = oddNames()[i % oddNames().size()];
    report.faults.push_back(finding);
  }
}

void addCollection(pscol::picture::ReportData& store, const StoreShape& shape, std::size_t i) {
  pscol::picture::ReportedCollection one;
  one.path = i % 10 == 9 ? "" : nameFor(shape, "shop/collection ", i);
  if (i % 3 == 2) {
    TableShape table;
    table.elements = 5000;
    table.skewedBits = i % 2 == 0 ? 4 : 0;
    table.skew = 0.85;
    Table made = makeTable(table);
    one.className = "psHashSet";
    one.table = made.info;
    one.tally = made.sketch.tally();
    one.table.id = idOf(i + 1);
  } else {
    TreeShape tree;
    tree.elements = 20000;
    if (i % 4 == 0) tree.used = [](std::size_t leaf) { return 20 + static_cast<std::uint32_t>(leaf % 30); };
    one.className = "psTreeSet";
    one.tree = makeTree(tree).info;
    one.tree.id = idOf(i + 1);
  }
  one.id = idOf(i + 1);
  store.collections.push_back(one);
}

}  // namespace

Tree makeTree(const TreeShape& shape) { return TreeMaker(shape).make(); }

Table makeTable(const TableShape& shape) { return TableMaker(shape).make(); }

const std::vector<std::string>& oddNames() {
  static const std::vector<std::string> names{
      "<script>alert(\"&\")</script>",
      repeated("long ", 80),
      repeated("W", 400),
      "注文番号による注文の一覧表" + repeated("漢字", 40),
      "الطلبات حسب الرقم " + repeated("مفتوحة ", 20),
      "Ελληνικά καὶ Русский и עברית",
      "e\u0301te\u0301 " + repeated("o\u0308", 60),
      "\U0001F600\U0001F680 " + repeated("\U0001F469\u200D\U0001F4BB", 20),
      "ctrl\x01\x1b[31m\n\t \xff\xfe broken \xc3\x28 \xed\xa0\x80 nul\0end"s,
      "\u202Eright to left\u2066 override",
      "]]> -- --> <!-- ' \" &amp; &#0;",
      "हिन्दी में नाम ภาษาไทย",
  };
  return names;
}

pscol::picture::ReportData makeStore(const StoreShape& shape) {
  pscol::picture::ReportData store;
  store.storeName = shape.hasOddNames ? oddNames()[0] + ".ps" : "shop.ps";
  store.isVerified = true;
  store.verification.isComplete = true;
  store.verification.records = 15905;
  addFaults(store, shape.faults);
  for (std::size_t i = 0; i < shape.collections; ++i) addCollection(store, shape, i);
  for (std::size_t i = 0; i < shape.classes; ++i) {
    psStoredClass one;
    one.typeN = i < 3 ? 4016 + static_cast<unsigned int>(i) : 20000 + static_cast<unsigned int>(i);
    one.name = i < 3 ? "psTreePart" : nameFor(shape, "Item", i);
    one.layouts.resize(1);
    for (const char* field : {"number", "title", "price"})
      one.layouts[0].fields.push_back({field, "int32", 0, one.typeN});
    store.classes.push_back(one);
  }
  std::size_t number = 0;
  const auto add = [&](const std::string& name, unsigned int typeN, std::uint64_t bytes) {
    const psContainerInfo container = makeContainer(number++, name, typeN, bytes);
    const std::size_t database = container.id.get_DB();
    while (store.survey.databases.size() < database) {
      psDatabaseInfo next;
      next.id = {static_cast<unsigned short>(store.survey.databases.size() + 1), 0, 0, 0};
      next.name =
          store.survey.databases.empty() ? "shop" : nameFor(shape, "database", store.survey.databases.size() + 1);
      store.survey.databases.push_back(next);
    }
    psDatabaseInfo& home = store.survey.databases[database - 1];
    home.containers.push_back(container);
    home.nextContainer = home.containers.size() + 1;
    for (const auto& [type, count] : container.classes) store.survey.classes[type].add(count);
    store.survey.recordBytes += container.recordBytes;
    return container.id;
  };
  for (std::size_t i = 0; i < shape.namedContainers; ++i)
    add(nameFor(shape, "orders ", i), 20001 + static_cast<unsigned int>(i % 3), 2000000 / (i + 1) + 900);
  for (std::size_t i = 0; i < shape.collections; ++i) {
    const pscol::picture::ReportedCollection& one = store.collections[i];
    for (std::size_t k = 0; k < shape.containersOfEach; ++k)
      store.owners[add("", one.isTable() ? 4024 : 4022, 1600)] = one.path.empty() ? "unnamed" : one.path;
  }
  for (std::size_t i = 0; i < shape.unnamedContainers; ++i) add("", 4026, 300);
  store.info.format = "pscollections 1";
  store.info.pageSize = 8192;
  store.info.commit = 2;
  store.info.lastCommitTime = 1790000000;
  if (shape.hasFile) {
    store.info.enginePageSize = 4096;
    store.info.freePages = 300;
    store.info.enginePages = store.survey.recordBytes * 13 / 10 / 4096 + 400;
    store.info.fileBytes = store.info.enginePages * 4096;
  }
  store.sketchTree = [](const pscol::picture::ReportedCollection& one, pscol::picture::TreeSketch& sketch) {
    TreeShape tree;
    tree.elements = one.tree.elements;
    if (one.tree.levels.back().fill() < 0.45)
      tree.used = [](std::size_t leaf) { return 20 + static_cast<std::uint32_t>(leaf % 30); };
    sketch = makeTree(tree).sketch;
    return true;
  };
  store.sketchTable = [](const pscol::picture::ReportedCollection& one, pscol::picture::HashSketch& sketch) {
    TableShape table;
    table.elements = one.table.elements;
    table.skew = 0.85;
    table.skewedBits = one.tally.hashesOfHalf() < 0.35 ? 4 : 0;
    sketch = makeTable(table).sketch;
    return true;
  };
  store.labelOf = [odd = shape.hasOddNames](const pscol::picture::ReportedCollection&, const psId& id) {
    return odd ? oddNames()[id.get_slot() % oddNames().size()] : std::to_string(id.bits() % 100000);
  };
  return store;
}

}  // namespace samples
