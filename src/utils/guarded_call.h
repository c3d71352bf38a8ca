#pragma once
// Calls a subscriber's callback on a receiver's or monitor's thread: what the callback throws
// is logged and must not end that thread.
#include <exception>
#include <functional>

#include "orvamesh/base/log.h"

namespace ORVA::MESH::SDK::Detail {

template <typename Event>
void GuardedCall(const std::function<void(const Event&)>& callback, const Event& event, const char* who) {
  if (!callback) return;
  try {
    callback(event);
  } catch (const std::exception& e) {
    ORVA_LOG_ERR("%s callback failed: %s", who, e.what());
  } catch (...) {
    ORVA_LOG_ERR("%s callback failed", who);
  }
}

}  // namespace ORVA::MESH::SDK::Detail
