// wordbook: a book of the words in text files, kept in a store. Each call is a process of its own.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "commands.h"

namespace {

constexpr const char* usage =
    "Usage: wordbook index STORE FILE...    add the words of text files to STORE, which is made when missing\n"
    "       wordbook find STORE WORD...     print those of the words that are in it\n"
    "       wordbook list STORE [PREFIX]    print its words in order: all, or those that begin with PREFIX\n"
    "       wordbook stat STORE             print how many words there are, and what they take\n"
    "       wordbook --help\n"
    "\n"
    "A word is a run of letters and inner apostrophes; capital and small ASCII letters are the same. FILE may be -\n"
    "for standard input. Exit status: 0 success, 1 a word is not there (list: no word at all), 2 an error.\n";

int misuse(const std::string& what) {
  std::fprintf(stderr, "wordbook: %s\n%s", what.c_str(), usage);
  return exitError;
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
  if (command != "index" && command != "find" && command != "list" && command != "stat") {
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
  return rest.empty() ? showStatistics(store) : misuse("stat takes a STORE and nothing else");
}

// A standard stream that the caller has closed would be the first file that the store opens, and what is printed would
// go into it. Nothing can be written to what takes its place here.
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
