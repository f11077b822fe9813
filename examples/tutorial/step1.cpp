#include <pstyped.h>

#include <iostream>

class Package : public psObj {
  PS_PERSISTENT_CLASS(Package, psObj, 20401)
  PS_FIELDS(name, section, summary, kilobytes)

 public:
  Package(std::string_view itsName, std::string_view itsSection, std::string_view itsSummary, int size)
      : name(itsName), section(itsSection), summary(itsSummary), kilobytes(size) {}

  ps::String name, section, summary;
  int kilobytes;
};
PS_REGISTER_CLASS(Package)

int main() try {
  ps::Session session("catalogue.ps");
  session.update([&] {
    const auto packages = session.container("catalogue", "packages");
    ps::make<Package>(packages, "libpear", "libs", "a pear for programs", 40);
    ps::make<Package>(packages, "apple", "food", "a fruit", 7);
  });
  session.read([&] {
    pstItr<Package> package;
    package.scan(session.container("catalogue", "packages"), pscRead);
    while (package.next()) std::cout << package->name << ", " << package->kilobytes << " KiB\n";
  });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
