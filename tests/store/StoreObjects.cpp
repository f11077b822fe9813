#include "store/StoreObjects.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

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

ScratchFolder::ScratchFolder() : path_((std::filesystem::temp_directory_path() / "pscollections-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no temporary folder at " << path_;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

psSessionOptions unsynced(std::size_t cacheLimit) {
  psSessionOptions options;
  options.cacheLimit = cacheLimit;
  options.sync = false;  // nobody cuts the power
  return options;
}

void Process::Channel::send(std::uint64_t number) const {
  // Fails when the other side was killed; the receiver notices.
  [[maybe_unused]] const ssize_t sent = ::send(descriptor_, &number, sizeof number, MSG_NOSIGNAL);
}

bool Process::Channel::receive(std::uint64_t* number) const {
  std::uint64_t received = 0;
  if (::recv(descriptor_, &received, sizeof received, MSG_WAITALL) != sizeof received) return false;
  if (number != nullptr) *number = received;
  return true;
}

Process::Process(const std::function<int(const Channel&)>& body) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  std::fflush(nullptr);
  id_ = ::fork();
  if (id_ == 0) {
    ::close(ends[0]);
    ::_exit(body(Channel(ends[1])));
  }
  ::close(ends[1]);
  descriptor_ = ends[0];
}

Process::~Process() {
  kill();
  ::close(descriptor_);
}

void Process::kill() {
  if (id_ > 0) ::kill(id_, SIGKILL);
  wait();
}

int Process::wait() {
  int status = -1;
  if (id_ > 0) ::waitpid(id_, &status, 0);
  id_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string inProcess(const std::function<std::string()>& body) {
  Process process([&body](const Process::Channel& channel) {
    for (const char c : body()) channel.send(static_cast<unsigned char>(c));
    return 0;
  });
  std::string text;
  std::uint64_t c = 0;
  while (process.channel().receive(&c)) text.push_back(static_cast<char>(c));
  return process.wait() == 0 ? text : text + " (the process died)";
}

}  // namespace ps::test
