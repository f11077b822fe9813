#include "package2.h"

int main() try {
  ps::Session session("catalogue.ps");
  session.read([&] {
    const Names names(session.container("catalogue", "indexes"), "by name");
    for (const Package& package : names) print(package);
  });
  session.update([&] {
    const Names names(session.container("catalogue", "indexes"), "by name");
    if (const auto apple = names.get("apple")) ps::edit(*apple)->isEssential = true;
  });
  const int done = session.upgrade([](const psUpgradeProgress& now) {
    std::cout << "container " << now.done << " of " << now.containers << '\n';
    return true;
  });
  if (done != 1) std::cerr << session.lastError() << '\n';
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
