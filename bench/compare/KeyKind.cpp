#include "KeyKind.h"

#include "BenchStore.h"

const char* nameOf(KeyKind kind) {
  switch (kind) {
    case KeyKind::identifier:
      return "identifier";
    case KeyKind::content:
      return "content";
    case KeyKind::words:
      return "words";
  }
  return "";
}

KeyKind keyKindNamed(const std::string& name) {
  for (const KeyKind kind : {KeyKind::identifier, KeyKind::content, KeyKind::words}) {
    if (name == nameOf(kind)) return kind;
  }
  stop("there are no keys '" + name + "'; give identifier, content or words");
}
