#include <cstdio>
#include <fstream>
#include <iostream>

#include "Catalogue.h"
#include "PackageList.h"

namespace {

constexpr const char* usage =
    "usage: catalogue STORE COMMAND\n"
    "  load FILE        adds the packages of a list, such as /var/lib/dpkg/status\n"
    "  show NAME        shows a package\n"
    "  remove NAME      removes it\n"
    "  prefix TEXT      lists the packages whose names begin so\n"
    "  section NAME     lists those of a section, the largest first\n"
    "  search WORD...   lists those in which all words occur\n"
    "  upgrade          writes all packages as this version of the program keeps them\n";

void list(const Package& package) {
  std::cout << package.name() << " (" << package.bytes() / 1024 << " KiB): " << package.summary() << '\n';
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += word + ' ';
  return text;
}

void load(ps::Session& session, const std::string& file) {
  std::ifstream packages(file);
  if (!packages) throw std::runtime_error("cannot read " + file);
  const int size = session.update([&] {
    Catalogue catalogue(session);
    readPackageList(packages, [&](const ListedPackage& p) {
      catalogue.put(ps::make<Package>(catalogue.packages(), p.name, p.section, p.summary, p.bytes, p.priority));
    });
    return catalogue.size();
  });
  std::cout << size << " packages\n";
}

bool show(const Catalogue& catalogue, const std::string& name) {
  const auto found = catalogue.get(name);
  if (!found) {
    std::cout << "there is no package " << name << '\n';
    return false;
  }
  const Package& package = **found;
  std::cout << "name:     " << package.name() << "\nsection:  " << package.section()
            << "\nbytes:    " << package.bytes() << "\npriority: " << package.priority()
            << "\nsummary:  " << package.summary() << '\n';
  return true;
}

void upgrade(ps::Session& session) {
  psUpgradeProgress last;
  const bool done = session.upgrade([&last](const psUpgradeProgress& now) {
    last = now;
    return true;
  }) == 1;
  if (!done) throw std::runtime_error(session.lastError());
  std::cout << last.pagesWritten << " of " << last.pagesRead << " pages were written anew\n";
}

// The exit status: 0, or 1 when there is no such package, or 2 for a wrong command.
int run(ps::Session& session, const std::string& command, const std::vector<std::string>& arguments) {
  const bool hasOne = arguments.size() == 1;
  if (command == "load" && hasOne) return load(session, arguments[0]), 0;
  if (command == "upgrade" && arguments.empty()) return upgrade(session), 0;
  if (command == "remove" && hasOne)
    return session.update([&] { return Catalogue(session).remove(arguments[0]); }) ? 0 : 1;
  return session.read([&] {
    const Catalogue catalogue(session);
    if (command == "show" && hasOne) return show(catalogue, arguments[0]) ? 0 : 1;
    if (command == "prefix" && hasOne) return catalogue.withPrefix(arguments[0], &list), 0;
    if (command == "section" && hasOne) return catalogue.inSection(arguments[0], &list), 0;
    if (command == "search" && !arguments.empty()) return catalogue.withWords(wordsIn(joined(arguments)), &list), 0;
    return std::fputs(usage, stderr), 2;
  });
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc < 3) return std::fputs(usage, stderr), 2;
  ps::Session session(argv[1]);
  return run(session, argv[2], {argv + 3, argv + argc});
} catch (const std::exception& error) {
  std::cerr << "catalogue: " << error.what() << '\n';
  return 2;
}
