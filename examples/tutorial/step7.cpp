#include <cstdio>

#include "package2.h"

int main() try {
  ps::Session session("catalogue.ps");
  std::remove("copy.ps");
  if (session.backup("copy.ps") != 1) {
    std::cerr << session.lastError() << '\n';
    return 1;
  }
  psSessionOptions options;
  options.readOnly = true;
  options.verify = psVerify::structure;
  ps::Session copy("copy.ps", options);
  psVerifyReport report;
  const bool isWhole = copy.verify(report) == 1;
  for (const psFinding& fault : report.faults) std::cout << fault.text << '\n';
  for (const psFinding& note : report.notes) std::cout << "note: " << note.text << '\n';
  std::cout << "the copy is " << (isWhole ? "whole: " : "damaged: ") << report.objects << " objects, "
            << report.collections << " collections with " << report.elements << " elements\n";
  copy.read([&] { std::cout << Names(copy.container("catalogue", "indexes"), "by name").size() << " packages\n"; });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
