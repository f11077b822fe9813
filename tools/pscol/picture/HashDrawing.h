#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/psHashInfo.h"
#include "pscol/picture/Chart.h"
#include "pscol/picture/HashSketch.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Svg.h"

namespace pscol::picture {

// One picture of a hash table while it is drawn from top to bottom.
class HashDrawing {
 public:
  HashDrawing(const psHashInfo& info, const HashSketch& sketch, const Subject& subject,
              const std::optional<KeyInTable>& key, Svg& svg);

  void draw(bool hasHead);

 private:
  using Bucket = HashSketch::Bucket;

  // Slots that `from` to `to` elements share, of the table and of an even hash.
  struct Shared {
    std::size_t from;
    std::size_t to;
    double elements = 0;
    double even = 0;

    bool isUneven() const { return from > 3 && elements > 2 * even + 20; }
  };

  void drawHashes();
  void drawHashTicks();
  void drawDepths();
  void drawDepthBars(const Plot& plot);
  void drawDepthColumns(const Plot& plot);
  void drawBuckets();
  void outlineUnreadable(const Plot& plot, double width);
  void drawKey(const Plot& plot, double width);
  void drawSharing();
  void drawShared(const Plot& plot, const Shared& shared, double x, double width);
  void drawLegend();

  std::vector<double> elementsByHash(std::size_t classes) const;
  std::vector<Shared> sharing() const;
  double evenDepth() const;
  const char* gradeOfDepth(double depth) const;
  // Where the bucket's range of hashes begins and ends, from 0 to 1.
  double beginOf(const Bucket& bucket) const { return bucket.first / places_; }
  double endOf(const Bucket& bucket) const { return (std::uint64_t{bucket.first} + bucket.places) / places_; }
  std::string titleOf(const Bucket& bucket) const;
  double plotWidth() const { return svg_.width() - gutter; }

  const psHashInfo& info_;
  const HashSketch& sketch_;
  const Subject& subject_;
  const std::optional<KeyInTable>& key_;
  const std::vector<Bucket>& buckets_;
  Svg& svg_;
  Chart chart_;
  double places_;  // of the directory
  double right_;   // of the plot with a distribution beside it
  double bucketsInColumn_ = 1;
  double y_ = 0;
};

}  // namespace pscol::picture
