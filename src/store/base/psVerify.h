#pragma once

// What of a store is verified before a session works on it. Whatever is not verified beforehand is found damaged when
// it is read, or not at all; docs/store.md says which.
enum class psVerify {
  none,       // nothing
  structure,  // the pages of the file: that each is in its place, that all are reached, and that their order is right
  all,        // that, and every record and collection
};
