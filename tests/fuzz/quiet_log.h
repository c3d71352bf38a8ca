#pragma once
// The library logs every input it refuses, and a fuzzer feeds it millions: the log goes nowhere.
#include <string>

#include "orvamesh/base/log.h"

inline void SilenceLibraryLog() {
  static const bool silenced = (ORVA::MESH::SDK::Log::SetSink([](int, const std::string&) {}), true);
  (void)silenced;
}
