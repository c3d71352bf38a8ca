#pragma once
// Checks an administrator's password against a local account, as the router's own log-in does:
// the account's hash in the shadow file below the system root ("/etc/shadow"), verified with
// libcrypt, so every method libxcrypt accepts works (yescrypt, SHA-512, SHA-256, bcrypt, MD5).
//
// Refused: a wrong password, an unknown user, a locked account ("!" or "*" hashes, "!" in front
// of a hash) and an account with an empty hash (no password is not a password). An unknown or
// locked account costs the same time as a wrong password: a dummy hash of the system's default
// method is computed, so timing does not tell which users exist. The password is never logged,
// never kept, and wiped from the hashing buffer after use.
#include <string>

#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Utils {

// 0 when the password opens the account; -1 with one log line (user name, never the password)
// otherwise. Malformed shadow lines are logged with their line number and skipped.
ORVA_EXPORT int CheckLogin(const std::string& user, const std::string& password);

}  // namespace ORVA::MESH::SDK::Utils
