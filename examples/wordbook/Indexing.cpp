#include "Indexing.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>

namespace {

constexpr std::uint64_t wordsBetweenProgress = 4096;
constexpr std::size_t blockSize = std::size_t{64} << 10;
// Longer lines are taken in parts, so that a file without line ends does not have to fit in memory.
constexpr std::size_t longestPiece = std::size_t{64} << 10;

}  // namespace

Indexing::Indexing(const std::string& store)
    : store_(store), book_(store, pscUpdate), splitter_(makeSplitter()), onTerminal_(isatty(STDERR_FILENO) != 0) {}

WordSplitter Indexing::makeSplitter() {
  return WordSplitter([this](const std::string& word) { found_.push_back(word); });
}

Indexing::~Indexing() { hideProgress(); }

// Reading the lock file would be useless, and closing it would be harmful: the process would lose its locks.
bool Indexing::isStore(const std::string& name) const {
  std::error_code ignored;
  const std::filesystem::path store = std::filesystem::canonical(store_, ignored);
  return std::filesystem::equivalent(name, store, ignored) ||
         std::filesystem::equivalent(name, store.string() + "-lock", ignored);
}

bool Indexing::addFile(const std::string& name) {
  const bool isInput = name == "-";
  file_ = isInput ? "standard input" : name;
  std::error_code ignored;
  if (!isInput && std::filesystem::is_directory(name, ignored)) {
    errno = EISDIR;
    return false;
  }
  const auto close = [](std::FILE* file) { return file != stdin ? std::fclose(file) : 0; };
  const std::unique_ptr<std::FILE, decltype(close)> text(isInput ? stdin : std::fopen(name.c_str(), "rb"), close);
  if (text == nullptr) return false;
  const WordBook::Extent known = book_.beginText(isInput ? file_ : std::filesystem::canonical(name, ignored).string());
  line_ = known.lines + 1;
  splitter_ = makeSplitter();
  if (!isInput && known.bytes > 0 && fseeko(text.get(), static_cast<off_t>(known.bytes), SEEK_SET) != 0) return false;
  return read(text.get());
}

bool Indexing::read(std::FILE* text) {
  showProgress();
  std::vector<char> block(blockSize);
  std::string piece;
  std::size_t size = 0;
  while ((size = std::fread(block.data(), 1, block.size(), text)) > 0) {
    for (std::string_view rest(block.data(), size); !rest.empty();) {
      const std::size_t end = std::min(rest.find('\n'), rest.size() - 1) + 1;
      piece.append(rest.substr(0, end));
      rest.remove_prefix(end);
      if (piece.back() != '\n' && piece.size() < longestPiece) continue;
      take(piece, false);
      piece.clear();
    }
  }
  const int code = std::ferror(text) != 0 ? errno : 0;
  // When reading fails, the last line may be incomplete.
  if (code == 0) take(piece, true);
  hideProgress();
  errno = code;
  return code == 0;
}

void Indexing::take(const std::string& piece, bool isLast) {
  splitter_.feed(piece);
  if (isLast) splitter_.finish();
  book_.add(piece, found_);
  const std::uint64_t before = words_;
  words_ += found_.size();
  found_.clear();
  if (!piece.empty() && piece.back() == '\n') ++line_;
  if (words_ / wordsBetweenProgress != before / wordsBetweenProgress) showProgress();
}

std::string Indexing::place() const { return file_ + ", line " + std::to_string(line_); }

void Indexing::showProgress() {
  if (!onTerminal_) return;
  std::fprintf(stderr, "\r\033[K%s: %llu words, %llu new", file_.c_str(), static_cast<unsigned long long>(words_),
               static_cast<unsigned long long>(newWords()));
}

void Indexing::hideProgress() {
  if (onTerminal_) std::fputs("\r\033[K", stderr);
}
