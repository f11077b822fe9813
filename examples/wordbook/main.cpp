// wordbook: a concordance of text files, kept in a store. Each call is a process of its own.

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "commands.h"

namespace {

constexpr const char* usage =
    "Usage: wordbook index STORE FILE...    add the words of text files to STORE, which is made when missing\n"
    "       wordbook find STORE WORD...     print the lines in which the words occur\n"
    "       wordbook list STORE [PREFIX]    print the words in order: all, or those that begin with PREFIX\n"
    "       wordbook top STORE N            print the N most frequent words, with how often they occur\n"
    "       wordbook files STORE            print the files in the order of their names, with their lines and bytes\n"
    "       wordbook stat STORE             print what the store's collections consist of, and what they take\n"
    "       wordbook --help\n"
    "\n"
    "A word is a run of letters and inner apostrophes; capital and small ASCII letters are the same. A FILE that is\n"
    "in STORE already is gone on with where it ended; FILE may be - for standard input. Exit status: 0 success, 1 a\n"
    "word is not there (list: no word at all; files: no file), 2 an error.\n";

int misuse(const std::string& what) {
  std::fprintf(stderr, "wordbook: %s\n%s", what.c_str(), usage);
  return exitError;
}

// Empty when the argument is not a number from 1 on.
std::optional<std::size_t> countIn(const std::string& argument) {
  std::size_t count = 0;
  const char* const end = argument.data() + argument.size();
  const std::from_chars_result result = std::from_chars(argument.data(), end, count);
  return result.ec == std::errc() && result.ptr == end && count > 0 ? std::optional(count) : std::nullopt;
}

int run(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--help" || argument == "-h") {
      std::fputs(usage, stdout);
      return exitSuccess;
    }
    if (argument.size() > 1 && argument.front() == '-') return misuse("unknown option " + argument);
  }
  if (arguments.empty()) return misuse("no command given");
  const std::string& command = arguments.front();
  const std::set<std::string> commands = {"index", "find", "list", "top", "files", "stat"};
  if (commands.count(command) == 0) {
    return misuse("unknown command '" + command + "'");
  }
  if (arguments.size() < 2) return misuse(command + " needs a STORE");
  const std::string& store = arguments[1];
  const std::vector<std::string> rest(arguments.begin() + 2, arguments.end());
  if (command == "index") return rest.empty() ? misuse("index needs a FILE") : indexFiles(store, rest);
  if (command == "find") return rest.empty() ? misuse("find needs a WORD") : findWords(store, rest);
  if (command == "list") {
    return rest.size() > 1 ? misuse("list takes one PREFIX") : listWords(store, rest.empty() ? "" : rest.front());
  }
  if (command == "top") {
    const std::optional<std::size_t> count = rest.size() == 1 ? countIn(rest.front()) : std::nullopt;
    return count ? topWords(store, *count) : misuse("top needs a number of words, from 1 on");
  }
  if (!rest.empty()) return misuse(command + " takes a STORE and nothing else");
  return command == "files" ? listFiles(store) : showStatistics(store);
}

// If the caller has closed a standard stream, the next file that is opened gets its number, and what is printed would
// go into that file. Nothing can be written to what takes its place here.
void occupyStandardStreams() {
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(descriptor);
}

}  // namespace

int main(int argc, char** argv) {
  occupyStandardStreams();
  int status = exitError;
  try {
    status = run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return finishOutput(status);
}
