#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The commands of the program. Each writes its data to standard output and its complaints to standard error, and
// returns the program's exit status.

constexpr int exitSuccess = 0;
constexpr int exitNotFound = 1;
constexpr int exitError = 2;

// Adds the words of the files to the store, with the lines in which they occur. A file that cannot be read is reported
// and skipped. When the store fails, what was committed before stays.
int indexFiles(const std::string& store, const std::vector<std::string>& files);

// Prints the lines with each of the words.
int findWords(const std::string& store, const std::vector<std::string>& words);

// Prints the words that begin with prefix, in order.
int listWords(const std::string& store, const std::string& prefix);

// Prints the count words that occur most often.
int topWords(const std::string& store, std::size_t count);

// Prints the texts in the store, each after its numbers of lines and bytes.
int listFiles(const std::string& store);

// Prints what the store's collections consist of, and how much space they take.
int showStatistics(const std::string& store);

void complain(const std::string& message);

// Finishes standard output. Returns status; or exitError, with a complaint, when something could not be written.
int finishOutput(int status);
