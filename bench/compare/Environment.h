#pragma once

#include <filesystem>
#include <string>
#include <vector>

// What results depend on besides the contestants.

// Processor, kernel, and the file system that holds the folder, one a line; nothing that names the machine.
std::vector<std::string> describeMachine(const std::filesystem::path& folder);

// The compiler and the peers with their versions, one a line.
std::vector<std::string> describeSoftware();

// Why times of this build, or of stores in the folder, mean nothing; empty when they do.
std::vector<std::string> findWarnings(const std::filesystem::path& folder);
