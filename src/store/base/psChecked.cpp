#include "store/base/psChecked.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace ps::detail {

static std::atomic<MisuseHandler> handlerOfMisuse{nullptr};

void reportMisuse(const std::string& sentence) {
  if (const MisuseHandler handler = handlerOfMisuse) {
    handler(sentence);
    return;
  }
  std::fprintf(stderr, "pscollections: %s\n", sentence.c_str());
  std::abort();
}

MisuseHandler setMisuseHandler(MisuseHandler handler) { return handlerOfMisuse.exchange(handler); }

}  // namespace ps::detail
