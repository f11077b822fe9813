#include "package.h"

void fill(ps::Session& session) {
  const auto packages = session.container("catalogue", "packages");
  auto names = Names::open_or_create(session.container("catalogue", "indexes"), "by name");
  pstItr<Package> package;
  package.scan(packages, pscRead);
  while (package.next()) names.insert(package);  // those that step 1 has made
  for (const char* name : {"libbeech", "libcedar", "pear"}) {
    if (!names.contains(name)) names.insert(ps::make<Package>(packages, name, "libs", "a tree for programs", 100));
  }
}

void tryToFail(ps::Session& session) try {
  session.update([&] {
    Names(session.container("catalogue", "indexes"), "by name").clear();
    throw std::runtime_error("something went wrong");
  });
} catch (const std::runtime_error& error) {
  std::cout << error.what() << ", and nothing was changed\n";
}

void look(ps::Session& session) {
  const Names names(session.container("catalogue", "indexes"), "by name");
  std::cout << names.size() << " packages; the second is " << names[1]->name << '\n';
  if (const auto apple = names.get("apple")) print(**apple);
  if (!names.get("plum")) std::cout << "there is no plum\n";
  for (const Package& package : names.prefix("lib")) print(package);
}

int main() try {
  ps::Session session("catalogue.ps");
  session.update([&] { fill(session); });
  tryToFail(session);
  session.read([&] { look(session); });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
