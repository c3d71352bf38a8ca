#pragma once
// Runs the built orvamesh tools as a user would: orvamesh-simd on the program's private bus
// with a mesh file, and orvamesh commands against it, each with its exit status, standard
// output and standard error.
#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace orva::test {

struct ToolRun {
  int status = -1;  // exit status, or -1 when killed by a signal
  std::string out;
  std::string err;
  Json::Value Json() const;  // stdout parsed; a test failure when it is no JSON
};

// Runs `program` with `args` and waits for it.
ToolRun RunTool(const std::string& program, const std::vector<std::string>& args);

std::string ToolPath(const std::string& name);  // a built tool, e.g. "orvamesh-node"
std::string CliPath();
std::string SimdPath();
std::string ExampleMesh();

// The subcommands a tool's --help names: orvamesh lists them under "Subcommands:", the others
// write one usage line per subcommand.
std::vector<std::string> SubcommandsInHelp(const std::string& name, const std::string& help);

// One orvamesh-simd process; stopped (SIGTERM, then SIGKILL) on destruction.
class SimDaemon {
 public:
  // Starts the daemon on the example mesh and waits until it answers.
  explicit SimDaemon(int tickMs);
  ~SimDaemon();
  SimDaemon(const SimDaemon&) = delete;
  SimDaemon& operator=(const SimDaemon&) = delete;

  void Kill();  // SIGKILL, as a crash would

 private:
  pid_t pid_ = -1;
};

// orvamesh with --bus pointing at the program's private bus.
ToolRun Cli(std::vector<std::string> args);

}  // namespace orva::test
