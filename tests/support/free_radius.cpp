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

void WriteText(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream out(path, std::ios::trunc);
  out << content;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
  ::chmod(path.c_str(), 0640);
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

std::string RadiusdConf(const std::string& confDir, const std::string& runDir, bool proxy) {
  std::ostringstream out;
  out << "prefix = /usr\nexec_prefix = /usr\nsysconfdir = /etc\nlocalstatedir = /var\nsbindir = /usr/sbin\n"
      << "logdir = " << runDir << "\nraddbdir = " << confDir << "\nradacctdir = ${logdir}/radacct\n"
      << "name = freeradius\nconfdir = ${raddbdir}\nmodconfdir = ${confdir}/mods-config\n"
      << "certdir = ${confdir}/certs\ncadir = ${confdir}/certs\nrun_dir = " << runDir << "\n"
      << "db_dir = ${raddbdir}\nlibdir = /usr/lib/freeradius\npidfile = ${run_dir}/${name}.pid\n"
      << "max_request_time = 30\ncleanup_delay = 5\nmax_requests = 16384\nhostname_lookups = no\n"
      << "log {\n\tdestination = files\n\tfile = ${logdir}/radius.log\n\tauth = yes\n}\n"
      << "security {\n\tallow_core_dumps = no\n\tmax_attributes = 200\n\treject_delay = 0\n"
      << "\tstatus_server = yes\n}\n"
      << "proxy_requests = " << (proxy ? "yes" : "no") << "\n"
      << (proxy ? "$INCLUDE proxy.conf\n" : "") << "$INCLUDE clients.conf\n"
      << "thread pool {\n\tstart_servers = 4\n\tmax_servers = 16\n\tmin_spare_servers = 2\n"
      << "\tmax_spare_servers = 8\n\tmax_requests_per_server = 0\n}\n"
      << "modules {\n\t$INCLUDE mods-enabled/\n}\n"
      << "$INCLUDE sites-enabled/\n";
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
	timer_expire = 60
	ignore_unknown_eap_types = no
	max_sessions = 4096
	tls-config tls-common {
		private_key_file = ${certdir}/key.pem
		certificate_file = ${certdir}/cert.pem
		ca_file = ${certdir}/cert.pem
		cipher_list = "DEFAULT"
		tls_min_version = "1.2"
		tls_max_version = "1.2"
		ecdh_curve = "prime256v1"
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
		pap
	}
	authenticate {
		Auth-Type MS-CHAP {
			mschap
		}
		Auth-Type PAP {
			pap
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
  for (const char* program : {kServer, "/usr/bin/radclient", "/usr/bin/eapol_test", "/usr/bin/openssl"}) {
    if (::access(program, X_OK) != 0) return std::string(program) + " is not installed";
  }
  if (::access("/usr/share/freeradius/dictionary", R_OK) != 0) return "the FreeRADIUS dictionaries are missing";
  return "";
}

void LinkRadiusPrograms(FixtureRoot& root) {
  for (const char* program : {kServer, "/usr/bin/radclient", "/usr/bin/eapol_test", "/usr/bin/openssl"}) {
    root.LinkProgram(program, program);
  }
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
  std::filesystem::create_directories(confDir_ + "/sites-enabled");
  std::filesystem::create_directories(runDir_);
  WriteConf("dictionary", "");
  WriteConf("mods-enabled/common", kCommonModules);
}

FreeRadiusServer::~FreeRadiusServer() { Stop(); }

void FreeRadiusServer::WriteConf(const std::string& relative, const std::string& content) const {
  WriteText(confDir_ + "/" + relative, content);
}

void FreeRadiusServer::MakeHomeServer(uint16_t port, const std::string& secret, const std::string& users) {
  WriteConf("radiusd.conf", RadiusdConf(confDir_, runDir_, false));
  WriteConf("users", users);
  WriteConf("clients.conf", "client local {\n\tipaddr = 127.0.0.1\n\tsecret = " + Quoted(secret) + "\n}\n");
  WriteConf("mods-enabled/eap", kEapModule);
  WriteConf("sites-enabled/home", "server home {\n\tlisten {\n\t\ttype = auth\n\t\tipaddr = 127.0.0.1\n\t\tport = " +
                                      std::to_string(port) + "\n\t}\n" + kHomeSites);
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
  WriteConf("radiusd.conf", RadiusdConf(confDir_, runDir_, true));
  WriteConf("users", users);
}

std::string FreeRadiusServer::Log() const { return ReadText(LogFile()); }

std::vector<std::string> FreeRadiusServer::DaemonCommand() const { return {kServer, "-P", "-d", confDir_}; }

void FreeRadiusServer::Start() {
  ::unlink(LogFile().c_str());
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

bool FreeRadiusServer::Running() const {
  return (child_ > 0 && orva::platform::ProcAlive(child_)) || orva::platform::ProcAliveByPidFile(PidFile());
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

std::string RadiusTestClient::WriteRequests(const std::string& user, const std::string& password, int count) const {
  std::string requests;
  for (int i = 0; i < count; ++i) {
    requests += "User-Name = " + Quoted(user) + "\nUser-Password = " + Quoted(password) + "\n\n";
  }
  const std::string path = dir_ + "/requests";
  WriteText(path, requests);
  return path;
}

std::string RadiusTestClient::Authenticate(uint16_t port, const std::string& secret, const std::string& user,
                                           const std::string& password, int timeoutSeconds) const {
  const std::string requests = WriteRequests(user, password, 1);
  WriteText(dir_ + "/secret", secret);
  std::string output;
  Capture({"/usr/bin/radclient", "-r", "1", "-t", std::to_string(timeoutSeconds), "-f",
                                     requests, "-S", dir_ + "/secret", "127.0.0.1:" + std::to_string(port), "auth"},
                                    output);
  // An answer signed with another secret is reported as "Received ... packet ... invalid".
  for (const char* answer : {"Access-Accept", "Access-Reject"}) {
    if (output.find(std::string("Received ") + answer + " Id ") != std::string::npos) return answer;
  }
  return "";
}

int RadiusTestClient::AuthenticateMany(uint16_t port, const std::string& secret, const std::string& user,
                                       const std::string& password, int count, int parallel) const {
  const std::string requests = WriteRequests(user, password, count);
  WriteText(dir_ + "/secret", secret);
  std::string output;
  Capture({"/usr/bin/radclient", "-q", "-s", "-r", "3", "-t", "2", "-p",
                                     std::to_string(parallel), "-f", requests, "-S", dir_ + "/secret",
                                     "127.0.0.1:" + std::to_string(port), "auth"},
                                    output);
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
