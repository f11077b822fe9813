#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "pscol/Document.h"
#include "pscol/Failure.h"

namespace pscol {

// A command of the program: what it is called, what it takes, and what it does. The command line, --help, the manual
// page and the completion are all made of this description.
class Command {
 public:
  struct Option {
    // Where the argument goes: a flag, a text, a number, or the texts that are left.
    using Target = std::variant<bool*, std::string*, std::uint64_t*, std::vector<std::string>*>;

    std::string name;   // "--limit"; without dashes an argument that stands by itself, in order
    std::string value;  // what the argument of an option is called in --help; "" of a flag
    std::string text;   // a sentence without a full stop
    Target target;
    bool isRequired = false;
    bool isFile = false;  // so that the completion offers files
  };

  Command(std::string name, std::string summary) : name_(std::move(name)), summary_(std::move(summary)) {}
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command();

  // Writes the answer into the document. Throws Failure.
  virtual Status run(Document& answer) = 0;

  const std::string& name() const { return name_; }
  const std::string& summary() const { return summary_; }
  const std::string& details() const { return details_; }
  const std::vector<Option>& options() const { return options_; }

 protected:
  void option(std::string name, std::string value, std::string text, Option::Target target) {
    options_.push_back({std::move(name), std::move(value), std::move(text), target});
  }
  void argument(std::string name, std::string text, Option::Target target, bool isRequired = true) {
    options_.push_back({std::move(name), "", std::move(text), target, isRequired});
  }
  void file(std::string name, std::string text, std::string* target) {
    options_.push_back({std::move(name), "", std::move(text), target, true, true});
  }
  void details(std::string text) { details_ = std::move(text); }

 private:
  std::string name_;
  std::string summary_;
  std::string details_;  // further sentences, for --help and the manual page
  std::vector<Option> options_;
};

using Commands = std::vector<std::unique_ptr<Command>>;

// All of them, in the order of --help.
Commands allCommands();

}  // namespace pscol
