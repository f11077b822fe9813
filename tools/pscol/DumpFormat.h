#pragma once

#include <inspect/psCollectionInfo.h>
#include <inspect/psStoredObject.h>

#include <string>

#include "pscol/Cell.h"

// The lines of a dump: docs/guide.md describes them.
namespace pscol {

constexpr const char* dumpHead = "pscollectionsDump";
constexpr int dumpVersion = 1;

const char* kindText(psCollectionKind kind);
// none for any other text.
psCollectionKind kindFrom(const std::string& text);

// The line of an object. That of a collection leaves out what the library keeps in it.
Json objectLine(const psStoredObject& object, bool isCollection);
// The opposite. Throws Failure when the line is malformed.
psStoredObject objectFrom(const Json& line);

// A text that textJson has made.
std::string textFrom(const Json& json);
// An identifier as in "1-2-3-4"; null for null. Throws Failure for anything else.
psId idFrom(const Json& json);

}  // namespace pscol
