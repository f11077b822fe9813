#include "pscol/Pages.h"

#include <version.h>

#include <algorithm>
#include <cctype>

namespace pscol {

namespace {

bool isFlagOrOption(const Command::Option& option) { return option.name[0] == '-'; }

std::string upper(std::string text) {
  for (char& letter : text) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  return text;
}

// A text in a manual page, where backslashes and dashes, and dots that begin lines, mean something.
std::string roff(const std::string& text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '\\')
      result += "\\e";
    else if (letter == '-')
      result += "\\-";
    else if (letter == '.' && (result.empty() || result.back() == '\n'))
      result += "\\&.";
    else
      result += letter;
  }
  return result;
}

std::string usage(const Command& command) {
  std::string text = command.name();
  for (const Command::Option& option : command.options()) {
    if (isFlagOrOption(option)) continue;
    text += option.isRequired ? " " + upper(option.name) : " [" + upper(option.name) + "]";
  }
  return text;
}

std::string manualOf(const Command& command) {
  std::string page = ".SS pscol " + roff(usage(command)) + "\n" + roff(command.summary()) + ".\n";
  if (!command.details().empty()) page += ".PP\n" + roff(command.details()) + "\n";
  for (const Command::Option& option : command.options()) {
    const std::string name = isFlagOrOption(option) ? option.name : upper(option.name);
    const std::string value = option.value.empty() ? "" : " \\fI" + roff(option.value) + "\\fR";
    page += ".TP\n\\fB" + roff(name) + "\\fR" + value + "\n" + roff(option.text) + ".\n";
  }
  return page;
}

std::string optionsOf(const Command& command) {
  std::string words = "--help --json";
  for (const Command::Option& option : command.options()) {
    if (isFlagOrOption(option)) words += ' ' + option.name;
  }
  std::replace(words.begin(), words.end(), ',', ' ');  // a short and a long name
  return words;
}

}  // namespace

std::string manualPage(const Commands& commands) {
  std::string page = ".TH PSCOL 1 \"\" \"pscollections " + std::string(psVersion()) + "\" \"User Commands\"\n";
  page +=
      ".SH NAME\npscol \\- show, check, copy and picture stores of pscollections\n"
      ".SH SYNOPSIS\n.B pscol\n.I command\n.RI [ options ]\n"
      ".SH DESCRIPTION\nA store is a file with the databases, containers, objects and collections of programs that use "
      "the library pscollections. pscol needs none of these programs: it reads objects by the descriptions that the "
      "store has of them. Only load and compact write, and no command creates a store by accident. Every command has "
      "\\fB\\-\\-help\\fR, and \\fB\\-\\-json\\fR for an answer in JSON.\n"
      ".PP\nA path is a database, a container and names of objects, as in shop/orders/by\\-date. What has no name is "
      "written as a number, as in shop/#7, or as an identifier, as in 1\\-2\\-3\\-4.\n.SH COMMANDS\n";
  for (const std::unique_ptr<Command>& command : commands) page += manualOf(*command);
  page +=
      ".SH EXIT STATUS\n.TP\n0\nAll is fine.\n.TP\n1\nSomething was not found, or is not whole, or two stores differ.\n"
      ".TP\n2\nThe command line is wrong, or a store or file cannot be used.\n";
  return page;
}

std::string completion(const Commands& commands) {
  std::string names;
  std::string cases;
  for (const std::unique_ptr<Command>& command : commands) {
    names += (names.empty() ? "" : " ") + command->name();
    cases += "    " + command->name() + ") options='" + optionsOf(*command) + "' ;;\n";
  }
  return "# Completion of pscol for bash: commands, their options, and files.\n"
         "_pscol() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} options=''\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W '" +
         names +
         " --help --version' -- \"$word\")\n"
         "    return\n"
         "  fi\n"
         "  case ${COMP_WORDS[1]} in\n" +
         cases +
         "  esac\n"
         "  if [[ $word == -* ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\")\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _pscol pscol\n";
}

}  // namespace pscol
