#include "support/free_radius.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "support/child.h"
#include "platform/pid_file.h"
#include "platform/process_runner.h"
#include "support/fixture_root.h"
#include "support/wait_until.h"

namespace orva::test {
namespace {

constexpr char kServer[] = "/usr/sbin/freeradius";
constexpr const char* kPrograms[] = {kServer, "/usr/bin/radclient", "/usr/bin/eapol_test", "/usr/bin/openssl"};

void WriteText(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::trunc);
  out << content;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
  ::chmod(path.c_str(), 0640);
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string RadiusdConf(const std::string& confDir, const std::string& runDir, bool proxy) {
  // Everything not named here keeps FreeRADIUS's own default.
  std::ostringstream out;
  out << "prefix = /usr\nexec_prefix = /usr\nsysconfdir = /etc\nlocalstatedir = /var\nsbindir = /usr/sbin\n"
      << "logdir = " << runDir << "\nraddbdir = " << confDir << "\nname = freeradius\nconfdir = ${raddbdir}\n"
      << "certdir = ${confdir}/certs\nrun_dir = " << runDir << "\nlibdir = /usr/lib/freeradius\n"
      << "pidfile = ${run_dir}/${name}.pid\n"
      << "log {\n\tdestination = files\n\tfile = ${logdir}/radius.log\n\tauth = yes\n}\n"
      << "security {\n\treject_delay = 0\n\tstatus_server = yes\n}\n"
      << "proxy_requests = " << (proxy ? "yes" : "no") << "\n"
      << (proxy ? "$INCLUDE proxy.conf\n" : "") << "$INCLUDE clients.conf\n"
      << "modules {\n\t$INCLUDE mods-enabled/\n}\n$INCLUDE sites-enabled/\n";
  return out.str();
}

constexpr char kCommonModules[] = R"(
realm suffix {
	format = suffix
	delimiter = "@"
}
files {
	filename = ${confdir}/users
	key = "%{%{Stripped-User-Name}:-%{User-Name}}"
}
pap {
}
mschap {
}
)";

constexpr char kEapModule[] = R"(
eap {
	default_eap_type = peap
	tls-config tls-common {
		private_key_file = ${certdir}/key.pem
		certificate_file = ${certdir}/cert.pem
		ca_file = ${certdir}/cert.pem
		tls_min_version = "1.2"
		tls_max_version = "1.2"
	}
	peap {
		tls = tls-common
		default_eap_type = mschapv2
		virtual_server = "inner-tunnel"
	}
	mschapv2 {
	}
}
)";

constexpr char kHomeSites[] = R"(
	authorize {
		eap {
			ok = return
		}
		files
		pap
	}
	authenticate {
		Auth-Type PAP {
			pap
		}
		eap
	}
}
server inner-tunnel {
	authorize {
		eap {
			ok = return
		}
		files
		mschap
	}
	authenticate {
		Auth-Type MS-CHAP {
			mschap
		}
		eap
	}
}
)";

// The program's exit status with its standard output and error (kept out of the test's log).
int Capture(const std::vector<std::string>& argv, std::string& output) {
  orva::platform::ProgramOutput program = orva::platform::ProgramOutput::Open(argv, true);
  if (!program) return -1;
  char buffer[1024];
  while (program.GetLine(buffer, sizeof buffer) != nullptr) output += buffer;
  return program.Close();
}

std::string Quoted(const std::string& value) {
  std::string out = "\"";
  for (char c : value) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

}  // namespace

std::string FreeRadiusUnavailableReason() {
  if (::geteuid() != 0) return "FreeRADIUS tests need root";
  for (const char* program : kPrograms) {
    if (::access(program, X_OK) != 0) return std::string(program) + " is not installed";
  }
  if (::access("/usr/share/freeradius/dictionary", R_OK) != 0) return "the FreeRADIUS dictionaries are missing";
  return "";
}

void LinkRadiusPrograms(FixtureRoot& root) {
  for (const char* program : kPrograms) root.LinkProgram(program, program);
}

uint16_t FreeUdpPort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    if (fd >= 0) ::close(fd);
    throw std::runtime_error("no free UDP port");
  }
  ::close(fd);
  return ntohs(address.sin_port);
}

FreeRadiusServer::FreeRadiusServer(std::string confDir, std::string runDir)
    : confDir_(std::move(confDir)), runDir_(std::move(runDir)) {
  std::filesystem::create_directories(runDir_);
  WriteText(confDir_ + "/dictionary", "");
  WriteText(confDir_ + "/mods-enabled/common", kCommonModules);
}

FreeRadiusServer::~FreeRadiusServer() { Stop(); }

void FreeRadiusServer::MakeHomeServer(uint16_t port, const std::string& secret, const std::string& users) {
  WriteText(confDir_ + "/radiusd.conf", RadiusdConf(confDir_, runDir_, false));
  WriteText(confDir_ + "/users", users);
  WriteText(confDir_ + "/clients.conf", "client local {\n\tipaddr = 127.0.0.1\n\tsecret = " + Quoted(secret) + "\n}\n");
  WriteText(confDir_ + "/mods-enabled/eap", kEapModule);
  WriteText(confDir_ + "/sites-enabled/home", "server home {\n\tlisten {\n\t\ttype = auth\n\t\tipaddr = 127.0.0.1\n"
                                              "\t\tport = " + std::to_string(port) + "\n\t}\n" + kHomeSites);
  std::filesystem::create_directories(confDir_ + "/certs");
  const std::string certs = confDir_ + "/certs/";
  std::string output;
  const int rc = Capture(
      {"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
       "-keyout", certs + "key.pem", "-out", certs + "cert.pem", "-days", "2", "-subj", "/CN=home.test"},
      output);
  if (rc != 0) throw std::runtime_error("openssl could not make the home server's certificate");
}

void FreeRadiusServer::MakeProxy(const std::string& users) {
  WriteText(confDir_ + "/radiusd.conf", RadiusdConf(confDir_, runDir_, true));
  WriteText(confDir_ + "/users", users);
}

std::string FreeRadiusServer::Log() const { return ReadText(runDir_ + "/radius.log"); }

std::vector<std::string> FreeRadiusServer::DaemonCommand() const { return {kServer, "-P", "-d", confDir_}; }

void FreeRadiusServer::Start() {
  ::unlink((runDir_ + "/radius.log").c_str());
  std::vector<std::string> argv = launcher_;
  argv.insert(argv.end(), {kServer, "-f", "-P", "-d", confDir_});
  child_ = SpawnTied(argv);
  const bool ready = WaitUntil([&] {
    return Log().find("Ready to process requests") != std::string::npos || !orva::platform::ProcAlive(child_);
  }, std::chrono::seconds(20));
  if (!ready || !orva::platform::ProcAlive(child_)) {
    const std::string log = Log();
    Stop();
    throw std::runtime_error("freeradius did not start in " + confDir_ + ":\n" + log);
  }
}

void FreeRadiusServer::Stop() {
  if (child_ > 0) {
    ::kill(child_, SIGTERM);
    orva::platform::WaitProgram(child_);
    child_ = -1;
  }
  const pid_t daemon = orva::platform::ReadPidFile(PidFile());
  if (daemon > 0 && orva::platform::ProcAlive(daemon)) {
    ::kill(daemon, SIGTERM);
    WaitUntil([&] { return !orva::platform::ProcAlive(daemon); });
  }
  ::unlink(PidFile().c_str());
}

std::string RadiusTestClient::Radclient(uint16_t port, const std::string& secret, const std::string& user,
                                        const std::string& password, int count, std::vector<std::string> argv) const {
  std::string requests;
  for (int i = 0; i < count; ++i) {
    requests += "User-Name = " + Quoted(user) + "\nUser-Password = " + Quoted(password) + "\n\n";
  }
  WriteText(dir_ + "/requests", requests);
  WriteText(dir_ + "/secret", secret);
  argv.insert(argv.begin(), "/usr/bin/radclient");
  argv.insert(argv.end(),
              {"-f", dir_ + "/requests", "-S", dir_ + "/secret", "127.0.0.1:" + std::to_string(port), "auth"});
  std::string output;
  Capture(argv, output);
  return output;
}

std::string RadiusTestClient::Authenticate(uint16_t port, const std::string& secret, const std::string& user,
                                           const std::string& password, int timeoutSeconds) const {
  const std::string output =
      Radclient(port, secret, user, password, 1, {"-r", "1", "-t", std::to_string(timeoutSeconds)});
  // An answer signed with another secret is reported as "Received ... packet ... invalid".
  for (const char* answer : {"Access-Accept", "Access-Reject"}) {
    if (output.find(std::string("Received ") + answer + " Id ") != std::string::npos) return answer;
  }
  return "";
}

int RadiusTestClient::AuthenticateMany(uint16_t port, const std::string& secret, const std::string& user,
                                       const std::string& password, int count, int parallel) const {
  const std::string output = Radclient(port, secret, user, password, count,
                                       {"-q", "-s", "-r", "3", "-t", "2", "-p", std::to_string(parallel)});
  std::smatch match;
  static const std::regex kAccepted("Accepted\\s*:\\s*(\\d+)");
  return std::regex_search(output, match, kAccepted) ? std::stoi(match[1].str()) : 0;
}

bool RadiusTestClient::PeapMschapv2(uint16_t port, const std::string& secret, const std::string& outer,
                                    const std::string& user, const std::string& password) const {
  const std::string config = dir_ + "/eapol.conf";
  WriteText(config, "network={\n\tssid=\"mesh\"\n\tkey_mgmt=WPA-EAP\n\teap=PEAP\n\tidentity=" + Quoted(user) +
                        "\n\tanonymous_identity=" + Quoted(outer) + "\n\tpassword=" + Quoted(password) +
                        "\n\tphase1=\"peapver=0\"\n\tphase2=\"auth=MSCHAPV2\"\n}\n");
  std::string output;
  const int rc = Capture(
      {"/usr/bin/eapol_test", "-c", config, "-a", "127.0.0.1", "-p", std::to_string(port), "-s", secret, "-t", "15"},
      output);
  return rc == 0 && output.find("SUCCESS") != std::string::npos;
}

}  // namespace orva::test
