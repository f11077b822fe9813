#pragma once

#include <filesystem>
#include <string>
#include <vector>

// What results depend on besides the contestants: machine, file system of the folder, compiler and peers with their
// versions, one a line; nothing that names the machine.
std::vector<std::string> describeEnvironment(const std::filesystem::path& folder);

// Why times of this build, or of stores in the folder, mean nothing; empty when they do.
std::vector<std::string> findWarnings(const std::filesystem::path& folder);
