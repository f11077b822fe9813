#pragma once

#include <string>

// What LMDB leaves to its users when it creates a file.
namespace ps::detail {

// Empties a file whose creation was interrupted, so that creation can start again: a file that holds nothing but a part
// of what LMDB writes first. False for every other file, and while another process has LMDB's lock, which is taken
// meanwhile. This process must not have the file open, since it would lose its own lock.
bool emptyUnfinishedFile(const std::string& path, const std::string& lockPath);

// Makes the names in a file's directory durable.
void syncDirectoryOf(const std::string& path);

}  // namespace ps::detail
