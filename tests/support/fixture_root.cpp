#include "support/fixture_root.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "orvamesh/platform/system_root.h"

namespace orva::test {

FixtureRoot::FixtureRoot() : savedRoot_(orva::platform::SystemRoot::Get()) {
  orva::platform::SystemRoot::Set(Path());
}

FixtureRoot::~FixtureRoot() { orva::platform::SystemRoot::Set(savedRoot_); }

void FixtureRoot::InstallRecorder(const std::string& program) {
  // Arguments are written separated by US (0x1f) so empty ones and ones with spaces survive.
  WriteFile(program,
            "#!/bin/sh\n"
            "for a in \"$@\"; do printf '%s\\037' \"$a\"; done >> \"$0.calls\"\n"
            "printf '\\n' >> \"$0.calls\"\n"
            "[ -f \"$0.out\" ] && cat \"$0.out\"\n"
            "if [ -f \"$0.failon\" ] && printf '%s ' \"$@\" | grep -qF -f \"$0.failon\"; then exit 1; fi\n"
            "[ -f \"$0.status\" ] && exit \"$(cat \"$0.status\")\"\n"
            "exit 0\n",
            0755);
}

void FixtureRoot::SetOutput(const std::string& program, const std::string& output) {
  WriteFile(program + ".out", output);
}

void FixtureRoot::SetStatus(const std::string& program, int status) {
  WriteFile(program + ".status", std::to_string(status) + "\n");
}

void FixtureRoot::FailOn(const std::string& program, const std::string& text) {
  if (text.empty()) {
    ::unlink(Join(program + ".failon").c_str());
  } else {
    WriteFile(program + ".failon", text + "\n");
  }
}

void FixtureRoot::LinkProgram(const std::string& program, const std::string& target) {
  std::filesystem::path link(Join(program));
  std::filesystem::create_directories(link.parent_path());
  std::filesystem::remove(link);
  std::filesystem::create_symlink(target, link);
}

std::vector<std::vector<std::string>> FixtureRoot::Calls(const std::string& program) const {
  std::vector<std::vector<std::string>> calls;
  std::ifstream in(Join(program + ".calls"));
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    calls.emplace_back();
    for (std::string field; std::getline(fields, field, '\x1f');) calls.back().push_back(field);
  }
  return calls;
}

void FixtureRoot::ClearCalls(const std::string& program) { ::unlink(Join(program + ".calls").c_str()); }

}  // namespace orva::test
