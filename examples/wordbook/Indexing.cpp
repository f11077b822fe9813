#include "Indexing.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

constexpr std::uint64_t wordsBetweenProgress = 4096;
constexpr std::size_t pieceSize = std::size_t{64} << 10;

}  // namespace

Indexing::Indexing(const std::string& store)
    : store_(store),
      book_(store, pscUpdate),
      splitter_([this](const std::string& word) { take(word); }),
      onTerminal_(isatty(STDERR_FILENO) != 0) {}

Indexing::~Indexing() { hideProgress(); }

// Reading the lock file and closing it would also be more than useless: the process would lose its locks.
bool Indexing::isStore(const std::string& name) const {
  std::error_code ignored;
  const std::filesystem::path store = std::filesystem::canonical(store_, ignored);
  return std::filesystem::equivalent(name, store, ignored) ||
         std::filesystem::equivalent(name, store.string() + "-lock", ignored);
}

bool Indexing::addFile(const std::string& name) {
  file_ = name == "-" ? "standard input" : name;
  splitter_ = WordSplitter([this](const std::string& word) { take(word); });
  if (name == "-") return read(stdin);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> text(std::fopen(name.c_str(), "rb"), &std::fclose);
  return text != nullptr && read(text.get());
}

bool Indexing::read(std::FILE* text) {
  showProgress();
  std::vector<char> piece(pieceSize);
  std::size_t size = 0;
  while ((size = std::fread(piece.data(), 1, piece.size(), text)) > 0) splitter_.feed({piece.data(), size});
  const int code = std::ferror(text) != 0 ? errno : 0;
  // The word at which a failed reading ends may be half of one.
  if (code == 0) splitter_.finish();
  hideProgress();
  errno = code;
  return code == 0;
}

void Indexing::take(const std::string& word) {
  book_.add(word);
  if (++words_ % wordsBetweenProgress == 0) showProgress();
}

std::string Indexing::place() const { return file_ + ", line " + std::to_string(splitter_.line()); }

void Indexing::showProgress() {
  if (!onTerminal_) return;
  std::fprintf(stderr, "\r\033[K%s: %llu words, %llu new", file_.c_str(), static_cast<unsigned long long>(words_),
               static_cast<unsigned long long>(newWords()));
}

void Indexing::hideProgress() {
  if (onTerminal_) std::fputs("\r\033[K", stderr);
}
