#include <thread>

#include "package2.h"

// Another process would do the same: a session of its own, on the same file.
void grow(std::int64_t bytes) {
  ps::Session session("catalogue.ps");
  session.update([&] {
    const Names names(session.container("catalogue", "indexes"), "by name");
    if (const auto apple = names.get("apple")) ps::edit(*apple)->size += bytes;
  });
}

void look(ps::Session& session) {
  const Names names(session.container("catalogue", "indexes"), "by name");
  if (const auto apple = names.get("apple")) print(**apple);
}

int main() try {
  ps::Session session("catalogue.ps");
  session.read([&] {
    look(session);
    std::thread(grow, 1000).join();  // commits
    look(session);                   // as when this transaction began
  });
  session.read([&] { look(session); });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
