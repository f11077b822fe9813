#pragma once

// The kind of a failure, for programs that must decide what to do next. docs/store.md says what still works after each.
// An error's text is for people.
enum class psErrorKind {
  none,            // there was no error
  usage,           // the call cannot succeed as it was made: no transaction, a wrong mode, a name that is taken
  absent,          // what was asked for does not exist
  full,            // a limit is reached: of a container, a database, the store's file or one transaction
  damaged,         // what is stored does not match its checksum, or contradicts itself
  busy,            // others hold what it takes
  denied,          // permissions, a store opened for reading only, or the session's guard forbid it
  unknownClass,    // the program does not have the class, or has it with another size
  schema,          // the store's classes and the program's differ in what no rule converts
  conflict,        // the transaction could not be committed; nothing of it is in the store
  outcomeUnknown,  // nobody can tell whether the transaction is in the store
  memory,          // no memory or address space is left
  disk,            // reading or writing the file failed, or there is no room for it
  unreachable,     // the store's server cannot be reached, or the connection to it was lost
};
