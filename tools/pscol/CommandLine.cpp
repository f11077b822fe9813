#include "pscol/CommandLine.h"

#include <version.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <clocale>
#include <exception>
#include <iostream>

#include "pscol/Command.h"
#include "pscol/Pages.h"

namespace pscol {

namespace {

// Adds an option to CLI11's description of a command.
void add(CLI::App& app, const Command::Option& option) {
  CLI::Option* const added = std::visit(
      [&](auto* target) -> CLI::Option* {
        if constexpr (std::is_same_v<decltype(target), bool*>)
          return app.add_flag(option.name, *target, option.text);
        else
          return app.add_option(option.name, *target, option.text);
      },
      option.target);
  if (!option.value.empty()) added->type_name(option.value);
  if (option.value.empty() && !std::holds_alternative<bool*>(option.target)) added->type_name("");
  added->required(option.isRequired);
}

Status fail(const std::string& command, Status status, const std::string& text) {
  std::cout.flush();
  std::cerr << "pscol" << (command.empty() ? "" : " " + command) << ": " << text << '\n';
  return status;
}

Status run(Command& command, bool isJson) {
  try {
    Document answer;
    const Status status = command.run(answer);
    if (isJson)
      answer.printJson(std::cout);
    else
      answer.printText(std::cout);
    std::cout.flush();
    if (!std::cout) return fail(command.name(), Status::unusable, "the answer cannot be written");
    return status;
  } catch (const Failure& failure) {
    return fail(command.name(), failure.status(), failure.what());
  } catch (const std::bad_alloc&) {
    return fail(command.name(), Status::unusable, "there is no memory left");
  } catch (const std::exception& exception) {
    return fail(command.name(), Status::unusable, exception.what());
  }
}

}  // namespace

int runCommandLine(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the widths of characters
  const Commands commands = allCommands();
  CLI::App app("Shows, checks, copies and pictures stores of pscollections.", "pscol");
  app.set_version_flag("--version", std::string("pscol ") + psVersion());
  app.require_subcommand(0, 1);
  app.set_help_flag("-h,--help", "Print this help");
  bool isJson = false;
  bool isManual = false;
  bool isCompletion = false;
  app.add_flag("--manual", isManual, "Print the manual page, for man")->group("");
  app.add_flag("--completion", isCompletion, "Print the completion for bash")->group("");
  for (const std::unique_ptr<Command>& command : commands) {
    CLI::App& described = *app.add_subcommand(command->name(), command->summary());
    described.footer(command->details());
    described.add_flag("--json", isJson, "Answer in JSON");
    for (const Command::Option& option : command->options()) add(described, option);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);
    return static_cast<int>(
        fail("", Status::unusable, error.what() + std::string("; `pscol --help` shows what there is")));
  }
  if (isManual || isCompletion) {
    std::cout << (isManual ? manualPage(commands) : completion(commands));
    return 0;
  }
  for (const std::unique_ptr<Command>& command : commands) {
    if (app.got_subcommand(command->name())) return static_cast<int>(run(*command, isJson));
  }
  std::cout << app.help();
  return static_cast<int>(Status::unusable);
}

}  // namespace pscol
