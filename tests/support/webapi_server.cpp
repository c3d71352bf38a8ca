#include "support/webapi_server.h"

#include <fcntl.h>
#include <json/json.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace orva::test {

namespace {

std::atomic<int> gServers{0};

// Reads the child's first line ("PORT n") within the time allowed.
std::string ReadLine(int fd, std::chrono::milliseconds timeout) {
  std::string line;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (line.find('\n') == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    pollfd pfd{fd, POLLIN, 0};
    const int ready = ::poll(&pfd, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) break;
    char buffer[64];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    line.append(buffer, static_cast<size_t>(n));
  }
  return line;
}

}  // namespace

TlsIdentity MakeCertificate(const TempDir& dir, const std::string& name,
                            const std::vector<std::string>& ips) {
  TlsIdentity identity{dir.Join(name + ".pem"), dir.Join(name + ".key")};
  std::string san = "subjectAltName=";
  for (size_t i = 0; i < ips.size(); ++i) san += (i ? ",IP:" : "IP:") + ips[i];
  MustRun({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
           "-nodes", "-days", "2", "-subj", "/CN=" + name, "-addext", san, "-keyout",
           identity.key, "-out", identity.cert});
  return identity;
}

WebapiServer::WebapiServer(const TempDir& dir, const TlsIdentity& identity,
                           const Options& options) {
  const std::string tag = "webapi-server-" + std::to_string(gServers++);
  log_ = dir.WriteFile(tag + ".log", "");
  script_ = dir.Join(tag + ".script.json");
  std::vector<std::string> argv;
  if (options.ns != nullptr) argv = {"ip", "netns", "exec", options.ns->Name()};
  const std::vector<std::string> server = {"/usr/bin/python3",
                                           std::string(ORVAMESH_SOURCE_DIR) + "/tests/support/webapi_server.py",
                                           "--bind", options.bind, "--cert", identity.cert,
                                           "--key", identity.key, "--log", log_, "--script",
                                           script_, "--delay-ms", std::to_string(options.delayMs)};
  argv.insert(argv.end(), server.begin(), server.end());
  for (const auto& credential : options.credentials) {
    argv.push_back("--cred");
    argv.push_back(credential);
  }

  int pipeFds[2];
  if (::pipe2(pipeFds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  std::vector<char*> args;
  for (auto& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  const int rc = ::posix_spawnp(&pid_, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeFds[1]);
  if (rc != 0) {
    ::close(pipeFds[0]);
    throw std::runtime_error("cannot start the web API server");
  }
  const std::string line = ReadLine(pipeFds[0], std::chrono::seconds(20));
  ::close(pipeFds[0]);
  if (line.rfind("PORT ", 0) != 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    throw std::runtime_error("the web API server did not start: [" + line + "]");
  }
  port_ = std::stoi(line.substr(5));
}

WebapiServer::~WebapiServer() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
}

std::vector<Json::Value> WebapiServer::Calls() const {
  std::vector<Json::Value> calls;
  std::ifstream in(log_);
  std::string line;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  while (std::getline(in, line)) {
    Json::Value call;
    std::string errors;
    if (reader->parse(line.data(), line.data() + line.size(), &call, &errors)) calls.push_back(call);
  }
  return calls;
}

size_t WebapiServer::CountCalls(const std::string& api) const {
  size_t count = 0;
  for (const auto& call : Calls()) count += call["api"].asString() == api ? 1 : 0;
  return count;
}

void WebapiServer::Script(const std::string& api, const std::string& method,
                          const std::string& rawAnswer) {
  scripted_[api + " " + method] = rawAnswer;
  Json::StreamWriterBuilder writer;
  const std::string temporary = script_ + ".new";
  std::ofstream(temporary) << Json::writeString(writer, scripted_);
  // Renamed into place so the server never reads half a script.
  if (::rename(temporary.c_str(), script_.c_str()) != 0) throw std::runtime_error("rename failed");
}

}  // namespace orva::test
