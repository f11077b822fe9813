#include "package.h"

class Catalogue {
 public:
  explicit Catalogue(ps::Session& session)
      : packages_(session.container("catalogue", "packages")),
        names_(open<Names>(session, "by name")),
        sections_(open<Sections>(session, "by section")) {}

  // Adds a package, or replaces the one of that name.
  void put(const char* name, const char* section, const char* summary, int kilobytes) {
    remove(name);
    const auto package = ps::make<Package>(packages_, name, section, summary, kilobytes);
    names_.insert(package);
    sections_.insert(package);
  }
  void remove(const char* name) {
    const auto package = names_.get(name);
    if (!package) return;
    sections_.erase(*package);
    names_.erase(*package);
    ps::destroy(*package);
  }
  void indexAll() {
    for (auto it = names_.begin(); it != names_.end(); ++it) sections_.insert(it.ref());
  }
  const Sections& sections() const { return sections_; }

 private:
  template <class Index>
  static Index open(ps::Session& session, const char* name) {
    const auto indexes = session.container("catalogue", "indexes");
    return session.inUpdate() ? Index::open_or_create(indexes, name) : Index(indexes, name);
  }

  pstHandle<psContObj> packages_;
  Names names_;
  Sections sections_;
};

int main() try {
  ps::Session session("catalogue.ps");
  session.update([&] {
    Catalogue catalogue(session);
    catalogue.indexAll();
    catalogue.put("libpear", "libs", "a larger pear for programs", 400);
    catalogue.put("plum", "food", "a fruit for programs", 30);
    catalogue.remove("pear");
  });
  session.read([&] {
    const Catalogue catalogue(session);
    for (const Package& package : catalogue.sections()) {
      std::cout << package.section << ": ";
      print(package);
    }
    std::cout << "in libs, the largest first:\n";
    for (const Package& package : catalogue.sections().with("libs")) print(package);
  });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
