#include "driver/client_command.h"

#include "orvamesh/base/log.h"
#include "platform/net_if.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK::Driver::Detail {

bool UsableInterfaceName(const std::string& ifname) {
  if (orva::platform::IsInterfaceName(ifname)) return true;
  ORVA_LOG_ERR("Invalid interface name [%s]", ifname.c_str());
  return false;
}

int RunClient(const std::string& client, const std::string& ifname, const std::string& cmd,
              const std::vector<std::string>& args, std::string& result, bool daemon, ClientCodes codes) {
  std::vector<std::string> argv = {client, "-i", ifname, cmd};
  argv.insert(argv.end(), args.begin(), args.end());
  if (daemon) {
    argv.emplace_back("-B");
    if (orva::platform::ExecWait(argv, 1) != 0) {
      ORVA_LOG_ERR("Failed to execute command in daemon mode");
      return codes.execFailed;
    }
    return 0;
  }
  orva::platform::ProgramOutput output = orva::platform::ProgramOutput::Open(argv);
  if (!output) {
    ORVA_LOG_ERR("The result of excuted command is null");
    return codes.commandFailed;
  }
  result.clear();
  char buffer[1024];
  while (output.GetLine(buffer, sizeof buffer) != nullptr) result += buffer;
  output.Close();
  if (result.find("FAIL") != std::string::npos) {
    ORVA_LOG_ERR("The executed command has failed");
    return codes.commandFailed;
  }
  return 0;
}

}  // namespace ORVA::MESH::SDK::Driver::Detail
