#pragma once

// What the client library says of a connection that was refused. There are no states for that: the texts tell. They are
// in English unless the server speaks another language; then the message is still shown, with a less exact remedy.
namespace ps::detail::serverTexts {

constexpr const char* full[] = {"too many clients", "connection slots", "too many connections"};
constexpr const char* unknownUser[] = {"authentication failed", "no password supplied", "pg_hba.conf"};
constexpr const char* absent[] = {"does not exist"};

// What this process lacks.
constexpr const char* noMemory[] = {"out of memory"};

// It is starting or ending, was not started yet, or has not taken over yet from another one.
constexpr const char* starting[] = {"the database system is", "Connection refused", "No such file",
                                    "session is read-only", "session is not read-only"};

}  // namespace ps::detail::serverTexts
