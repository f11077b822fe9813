#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "store/base/psSessionOptions.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// A store in memory, private to the engine and destroyed with it. Its limits are those of a file, so that what fits
// here can be stored in a file.
class MemoryEngine final : public Engine {
 public:
  explicit MemoryEngine(const psSessionOptions& options) : readOnly_(options.readOnly) {}

  bool begin(bool update) override;
  Lookup get(std::string_view key, std::string_view& value) override;
  bool put(std::string_view key, std::string_view value) override;
  bool erase(std::string_view key) override;
  bool scan(std::string_view prefix, const Visitor& visitor) override;
  std::uint64_t records() const override { return content_.size(); }
  Commit commit() override;  // never unknown
  void abort() override;
  void invalidate(psErrorKind kind) noexcept override;
  bool readers(std::vector<psReader>& found) override;
  bool facts(EngineFacts& found) override;

  std::uint64_t version() const override { return version_; }
  std::size_t uncommittedBytes() const override { return uncommittedBytes_; }
  std::size_t maxKeySize() const override { return 511; }
  std::size_t maxValueSize() const override { return 0xffffffff; }

 private:
  enum class State { idle, reading, updating, voided };

  bool refuse(psErrorKind kind, const std::string& reason);
  void remember(std::string_view key);
  bool isReadable();
  bool isWritable(std::string_view key);
  bool isKey(std::string_view key) const { return !key.empty() && key.size() <= maxKeySize(); }
  bool voidTransaction(psErrorKind kind, const std::string& reason);
  void end() noexcept;
  const char* voidText() const;

  const bool readOnly_;
  using Content = std::map<std::string, std::string, std::less<>>;

  State state_ = State::idle;
  psErrorKind voidKind_ = psErrorKind::usage;
  std::uint64_t version_ = 0;
  std::size_t uncommittedBytes_ = 0;  // of the values that were put
  Content content_;

  // The pairs before this transaction of the keys that it has changed; empty for keys that were absent. As nodes of the
  // content they go back into it without memory.
  std::map<std::string, Content::node_type, std::less<>> undo_;
};

}  // namespace ps::detail
