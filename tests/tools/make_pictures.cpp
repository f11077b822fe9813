// make_pictures FOLDER: writes pictures and reports of all kinds of stores for tools/check-pictures.

#include <filesystem>
#include <fstream>
#include <iostream>

#include "Samples.h"
#include "pscol/picture/HashPicture.h"
#include "pscol/picture/MapPicture.h"
#include "pscol/picture/Report.h"
#include "pscol/picture/TreePicture.h"

namespace {

class Gallery {
 public:
  explicit Gallery(std::filesystem::path folder) : folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
  }

  void tree(const std::string& name, const samples::TreeShape& shape, std::size_t keyLeaf = SIZE_MAX,
            bool isOdd = false) {
    const samples::Tree tree = samples::makeTree(shape);
    std::optional<pscol::picture::KeyInTree> key;
    const auto& leaves = tree.sketch.leaves();
    if (keyLeaf < leaves.size())
      key = pscol::picture::KeyInTree{
          {leaves[keyLeaf].id}, leaves[keyLeaf].used / 3, true, isOdd ? samples::oddNames()[1] : "83,248"};
    const pscol::picture::Subject subject{isOdd ? samples::oddNames()[1] : "shop/" + name, "psTreeSet",
                                          pscol::picture::adviceOn(tree.info, "shop/" + name), [isOdd](const psId& id) {
                                            return isOdd
                                                       ? samples::oddNames()[id.bits() / 7 % samples::oddNames().size()]
                                                       : std::to_string(id.bits() % 1000000);
                                          }};
    const pscol::picture::TreePicture picture(tree.info, tree.sketch, subject, key);
    both("tree-" + name, [&](double width) { return picture.draw(width, true); });
  }

  void table(const std::string& name, const samples::TableShape& shape, std::size_t keyBucket = SIZE_MAX) {
    const samples::Table table = samples::makeTable(shape);
    std::optional<pscol::picture::KeyInTable> key;
    if (keyBucket < table.sketch.buckets().size())
      key = pscol::picture::KeyInTable{table.sketch.buckets()[keyBucket].id, 44, false, "customer 17"};
    const pscol::picture::Subject subject{"shop/" + name, "psHashSet",
                                          pscol::picture::adviceOn(table.info, table.sketch.tally(), "shop/" + name),
                                          nullptr};
    const pscol::picture::HashPicture picture(table.info, table.sketch, subject, key);
    both("hash-" + name, [&](double width) { return picture.draw(width, true); });
  }

  void store(const std::string& name, const samples::StoreShape& shape) {
    const pscol::picture::ReportData data = samples::makeStore(shape);
    const pscol::picture::StoreMap map(data.info, data.survey, data.classes, data.owners);
    const pscol::picture::MapPicture picture(map, data.storeName);
    both("map-" + name, [&](double width) { return picture.draw(width, pscol::picture::mapHeight(width), true); });
    write("report-" + name + ".html", pscol::picture::Report(data).html());
  }

 private:
  template <class Draw>
  void both(const std::string& name, const Draw& draw) {
    write(name + "-wide.svg", draw(1040).document());
    write(name + "-narrow.svg", draw(344).document());
  }

  void write(const std::string& name, const std::string& content) {
    std::ofstream(folder_ / name, std::ios::binary) << content;
  }

  std::filesystem::path folder_;
};

void drawTrees(Gallery& gallery) {
  for (const std::uint64_t elements : {0, 1, 10, 100000, 1000000, 100000000})
    gallery.tree(std::to_string(elements), {psCollectionKind::sortedSet, elements});
  samples::TreeShape shape{psCollectionKind::sortedSet, 20000};
  shape.used = [](std::size_t i) { return i < 300 ? 8 : 30 + static_cast<std::uint32_t>(i * 31 % 60); };
  gallery.tree("emptied", shape, 500);
  shape.isDamaged = [](std::size_t i) { return i == 3 || i / 20 == 20; };
  gallery.tree("damaged", shape);
  shape.elements = 3000;
  shape.used = [](std::size_t) { return 190; };
  gallery.tree("small", shape, 5, true);
  gallery.tree("few-entries", {psCollectionKind::sortedMap, 20000, 8,
                               [](std::size_t i) { return 4 + static_cast<std::uint32_t>(i % 4); }});
}

void drawTables(Gallery& gallery) {
  for (const std::uint64_t elements : {0, 1, 10, 100000, 1000000, 100000000})
    gallery.table(std::to_string(elements), {elements});
  gallery.table("uneven", {20000, 101, 0.85, 5, true}, 12);
  gallery.table("damaged", {3000, 101, 0.5, 0, false, [](std::size_t i) { return i % 9 == 4; }}, 3);
}

void drawStores(Gallery& gallery) {
  gallery.store("empty", {});
  gallery.store("shop", {9, 60, 7, 4});
  gallery.store("memory", {3, 5, 2, 0, 5, 0, false});
  gallery.store("odd", {30, 40, 60, 9, 12, 30, true, true});
  gallery.store("large", {300, 200, 700, 9000, 1000, 2000, true, true});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: make_pictures FOLDER\n";
    return 2;
  }
  Gallery gallery(argv[1]);
  drawTrees(gallery);
  drawTables(gallery);
  drawStores(gallery);
}
