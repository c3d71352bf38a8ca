#pragma once
// A TempDir that the library's SystemRoot points at while the object lives, with recorders
// standing in for outside programs that cannot run here (job manager, hyctl, ...). A recorder
// keeps its calls beside it, so a test can change a fake's answer between calls.
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace orva::test {

class FixtureRoot : public TempDir {
 public:
  FixtureRoot();
  ~FixtureRoot();

  // Installs a recorder at the absolute system path `program` ("/sbin/start").
  void InstallRecorder(const std::string& program);
  // What the recorder prints and how it exits (0 unless set) from now on.
  void SetOutput(const std::string& program, const std::string& output);
  void SetStatus(const std::string& program, int status);
  // Calls whose space-joined arguments contain `text` exit 1; an empty text ends that.
  void FailOn(const std::string& program, const std::string& text);
  // A symbolic link at `program` to a real program of this machine.
  void LinkProgram(const std::string& program, const std::string& target);
  // Every call the recorder saw, in order, each as its argument vector.
  std::vector<std::vector<std::string>> Calls(const std::string& program) const;
  void ClearCalls(const std::string& program);

 private:
  std::string savedRoot_;
};

}  // namespace orva::test
