#include "orvamesh/utils/led_helper.h"

#include <fcntl.h>
#include <json/json.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "orvamesh/platform/system_root.h"
#include "orvamesh/base/log.h"
#include "orvamesh/utils/response.h"
#include "orvamesh/utils/utils.h"
#include "platform/process_runner.h"

namespace ORVA::MESH::SDK {

namespace {

constexpr const char* kLedApi = "ORVA.Core.Hardware.Led";
constexpr const char* kBlinkApi = "ORVA.Core.Hardware.Led.Blink";
constexpr int kVersion = 1;
constexpr const char* kLedTool = "/usr/orva/bin/orvaledcontrol";
constexpr const char* kBackhaulFile = "/proc/orvabios/orva_mesh_backhaul_iface";

// One local call that must succeed; logs "Fail to execute [api][method]" otherwise.
bool CallLedApi(const char* api, const char* method, const Json::Value& params,
                Json::Value& answer) {
  bool success = false;
  if (Utils::ExecWebAPI(answer, success, api, kVersion, method, params) != 0 || !success) {
    ORVA_LOG_ERR("Fail to execute [%s][%s]", api, method);
    return false;
  }
  return true;
}

int RunLedTool(const char* option) {
  const int status = orva::platform::RunProgram({kLedTool, option, "processing"});
  if (status != 0) {
    ORVA_LOG_ERR("Fail to run [%s][%s][processing]: [%d]", kLedTool, option, status);
    return -1;
  }
  return 0;
}

}  // namespace

int LedHelper::ExecLedGetWebapi(std::string& modeText, std::string& schedule) {
  Json::Value answer;
  if (!CallLedApi(kLedApi, "get", Json::Value(Json::objectValue), answer)) return -1;
  const Json::Value data = answer.get("data", Json::Value());
  if (!Response::CheckStringMember(data, "led_mode") ||
      !Response::CheckStringMember(data, "schedule")) {
    ORVA_LOG_ERR("Ill-formed LED webapi response");
    return -1;
  }
  modeText = data["led_mode"].asString();
  schedule = data["schedule"].asString();
  return 0;
}

int LedHelper::ExecLedSetWebapi(const std::string& modeText, const std::string& schedule) {
  Json::Value params(Json::objectValue);
  params["led_mode"] = modeText;
  params["schedule"] = schedule;
  Json::Value answer;
  return CallLedApi(kLedApi, "set", params, answer) ? 0 : -1;
}

int LedHelper::ExecLedBlinkStartWebapi() {
  Json::Value answer;
  return CallLedApi(kBlinkApi, "start", Json::Value(Json::objectValue), answer) ? 0 : -1;
}

int LedHelper::ExecLedBlinkStopWebapi() {
  Json::Value answer;
  return CallLedApi(kBlinkApi, "stop", Json::Value(Json::objectValue), answer) ? 0 : -1;
}

int LedHelper::ExecLedSeqBlinkStartTool() { return RunLedTool("--network-setting"); }

int LedHelper::ExecLedSeqBlinkStopTool() { return RunLedTool("--network-setting-end"); }

int LedHelper::GetLedConfig(LED_MODE& mode, std::string& schedule) {
  std::string modeText;
  std::string scheduleText;
  if (ExecLedGetWebapi(modeText, scheduleText) != 0) return -1;
  const LED_MODE parsed = stringToLedMode(modeText);
  if (parsed == LED_MODE::UNKNOWN) {
    ORVA_LOG_ERR("Unknown Led mode");
    return -1;
  }
  mode = parsed;
  schedule = scheduleText;
  return 0;
}

int LedHelper::SetLedConfig(const LED_MODE& mode, const std::string& schedule) {
  const std::string modeText = ledModeToString(mode);
  if (modeText.empty()) {
    ORVA_LOG_ERR("Invalid LED mode [%d]", static_cast<int>(mode));
    return -1;
  }
  return ExecLedSetWebapi(modeText, schedule);
}

int LedHelper::SetLedBlinking(bool on) {
  return on ? ExecLedBlinkStartWebapi() : ExecLedBlinkStopWebapi();
}

int LedHelper::SetLedSequentialBlinking(bool on) {
  return on ? ExecLedSeqBlinkStartTool() : ExecLedSeqBlinkStopTool();
}

int LedHelper::SetMeshBackhaulInterfaces(std::vector<std::string> ifnames) {
  const std::string path = orva::platform::SystemRoot::Path(kBackhaulFile);
  if (access(path.c_str(), F_OK) != 0) {
    ORVA_LOG_ERR("File [%s] doesn't exists", path.c_str());
    return -1;
  }
  int fd;
  do {
    fd = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    ORVA_LOG_ERR("Failed to open file [%s]", path.c_str());
    return -1;
  }
  std::string content;
  for (size_t i = 0; i < ifnames.size(); ++i) {
    if (i > 0) content += ',';
    content += ifnames[i];
  }
  content += '\0';
  // The driver takes the list in one write; partial writes only happen on ordinary files.
  size_t written = 0;
  while (written < content.size()) {
    const ssize_t n = write(fd, content.data() + written, content.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ORVA_LOG_ERR("Failed to write file [%s]: %s", path.c_str(), std::strerror(errno));
      close(fd);
      return -1;
    }
    written += static_cast<size_t>(n);
  }
  close(fd);
  return 0;
}

}  // namespace ORVA::MESH::SDK
