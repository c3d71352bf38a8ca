// Whatever a node sends back as the answer text of a web API call (single or batch) must be
// judged, never crash or throw.
#include <cstddef>
#include <cstdint>
#include <string>

#include "orvamesh/utils/compound_response.h"
#include "quiet_log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace ORVA::MESH::SDK;
  SilenceLibraryLog();
  const std::string text(reinterpret_cast<const char*>(data), size);
  const CompoundResponse batch(text, "ORVA.Entry.Request", 1, "request");
  for (const Response& answer : batch.GetResponses()) {
    int i;
    double d;
    bool b;
    std::string s;
    Json::Value v;
    answer.GetIntField("code", i);
    answer.GetDoubleField("value", d);
    answer.GetBoolField("has_fail", b);
    answer.GetStringField("led_mode", s);
    answer.GetObjectField("data", v);
    answer.GetArrayField("result", v);
  }
  Json::Value payload;
  batch.GetData(payload);
  return 0;
}
