#pragma once
// Man pages and bash completion made from the same tables as --help, so that a subcommand or
// option added to a tool is documented and completed without a second list to keep in step.
// The small tools' table is their usage text; orvamesh builds its manual from its command table.
#include <cctype>
#include <iostream>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "orvamesh/version.h"

namespace orvatools {

struct ManualEntry {
  std::string name;      // the subcommand
  std::string synopsis;  // what follows its name
  std::string summary;   // one line
  std::vector<std::string> options;  // "--name", as completed
};

struct Manual {
  std::string program;
  std::string summary;  // the NAME line
  std::string help;     // the full --help text
  std::vector<ManualEntry> subcommands;
  std::vector<std::string> options;  // before any subcommand
  std::vector<std::string> valueOptions;  // options among them that take the next word
};

// Every "--word" of a text, in order of first appearance.
inline std::vector<std::string> OptionsIn(const std::string& text) {
  std::vector<std::string> found;
  std::set<std::string> seen;
  for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
    size_t end = at + 2;
    while (end < text.size() && (std::isalnum(static_cast<unsigned char>(text[end])) || text[end] == '-')) ++end;
    const std::string option = text.substr(at, end - at);
    if (option.size() > 2 && seen.insert(option).second) found.push_back(option);
    at = end - 2;
  }
  return found;
}

// The manual of a tool whose usage lines read "Usage: PROGRAM SUBCOMMAND ..." and
// "       PROGRAM SUBCOMMAND ...", a subcommand being a lower-case word.
inline Manual ManualFromUsage(const std::string& program, const std::string& summary, const std::string& usage) {
  Manual manual{program, summary, usage, {}, {"--help", "--version"}, {}};
  std::set<std::string> global(manual.options.begin(), manual.options.end());
  std::istringstream lines(usage);
  bool inUsage = false;
  for (std::string line; std::getline(lines, line);) {
    const size_t at = line.find(program + " ");
    const bool usageLine = at != std::string::npos && line.find_first_not_of(' ', line.rfind(':', at) + 1) == at;
    if (!usageLine) {
      // An indented line right after a subcommand's usage line carries more of its options.
      inUsage = inUsage && !line.empty() && line[0] == ' ';
      if (inUsage && !manual.subcommands.empty()) {
        for (const auto& option : OptionsIn(line)) manual.subcommands.back().options.push_back(option);
      }
      continue;
    }
    std::istringstream words(line.substr(at + program.size()));
    std::string first;
    words >> first;
    inUsage = !first.empty() && std::islower(static_cast<unsigned char>(first[0]));
    if (!inUsage) {
      for (const auto& option : OptionsIn(line)) {
        if (global.insert(option).second) manual.options.push_back(option);
      }
      continue;
    }
    std::string rest;
    std::getline(words, rest);
    manual.subcommands.push_back({first, rest.empty() ? rest : rest.substr(1), "", OptionsIn(rest)});
  }
  return manual;
}

// Roff-safe text: backslashes escaped, no line starting as a request.
inline std::string Roff(const std::string& text) {
  std::string out;
  bool lineStart = true;
  for (char c : text) {
    if (lineStart && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\') out += "\\e"; else if (c == '-') out += "\\-"; else out += c;
    lineStart = c == '\n';
  }
  return out;
}

inline void PrintManPage(std::ostream& out, const Manual& m) {
  std::string upper = m.program;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  out << ".TH " << upper << " 1 \"\" \"" << m.program << " " << ORVAMESH_VERSION_STRING << "\" \"liborvamesh tools\"\n"
      << ".SH NAME\n" << Roff(m.program) << " \\- " << Roff(m.summary) << "\n"
      << ".SH DESCRIPTION\n.nf\n" << Roff(m.help) << "\n.fi\n";
  if (!m.subcommands.empty()) out << ".SH SUBCOMMANDS\n";
  for (const ManualEntry& s : m.subcommands) {
    out << ".TP\n.B " << Roff(s.name) << (s.synopsis.empty() ? "" : " " + Roff(s.synopsis)) << "\n"
        << (s.summary.empty() ? "" : Roff(s.summary) + "\n");
  }
  out << ".SH SEE ALSO\nThe liborvamesh README.\n";
}

inline std::string Words(const std::vector<std::string>& words) {
  std::string out;
  for (const auto& w : words) out += (out.empty() ? "" : " ") + w;
  return out;
}

inline void PrintBashCompletion(std::ostream& out, const Manual& m) {
  std::string function = "_" + m.program;
  for (char& c : function) if (c == '-') c = '_';
  std::vector<std::string> names;
  for (const ManualEntry& s : m.subcommands) names.push_back(s.name);
  out << "# bash completion for " << m.program << ", made by " << m.program << " --bash-completion\n"
      << function << "() {\n"
      << "  local cur=${COMP_WORDS[COMP_CWORD]} sub= i\n"
      << "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      << "    case ${COMP_WORDS[i]} in\n";
  if (!m.valueOptions.empty()) {
    std::string pattern;
    for (const auto& o : m.valueOptions) pattern += (pattern.empty() ? "" : "|") + o;
    out << "      " << pattern << ") ((i++)) ;;\n";
  }
  out << "      -*) ;;\n"
      << "      *) sub=${COMP_WORDS[i]}; break ;;\n"
      << "    esac\n"
      << "  done\n"
      << "  case $sub in\n"
      << "    '') COMPREPLY=($(compgen -W \"" << Words(names) << (names.empty() ? "" : " ") << Words(m.options)
      << "\" -- \"$cur\")) ;;\n";
  for (const ManualEntry& s : m.subcommands) {
    out << "    " << s.name << ") COMPREPLY=($(compgen -W \"" << Words(s.options) << (s.options.empty() ? "" : " ")
        << "--help\" -- \"$cur\")) ;;\n";
  }
  out << "  esac\n}\ncomplete -o default -F " << function << " " << m.program << "\n";
}

// True when argv[1] asked for the man page or the completion script; prints it. `make` builds
// the manual only then, so an ordinary run pays nothing for it.
template <typename MakeManual>
bool AnswerManual(int argc, char** argv, MakeManual&& make) {
  if (argc < 2) return false;
  const std::string word = argv[1];
  if (word == "--man") {
    PrintManPage(std::cout, make());
  } else if (word == "--bash-completion") {
    PrintBashCompletion(std::cout, make());
  } else {
    return false;
  }
  return true;
}

}  // namespace orvatools
