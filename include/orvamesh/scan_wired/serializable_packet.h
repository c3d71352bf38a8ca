#pragma once
// A wired scan packet describes its fields as two tables keyed by field type: callbacks that
// produce each field's wire bytes, and callbacks that decode bytes into each field. The tables
// are ordered by type, which is also the order of the fields on the wire.
#include <map>

#include "orvamesh/export.h"
#include "orvamesh/scan_wired/wired_scan_field_type.h"
#include "orvamesh/serialization/serializer.h"

namespace ORVA::MESH::SDK::ScanWired {

using SerializeMap = std::map<WiredScanFieldType, Serialization::SerializeCallback>;
using DeserializeMap = std::map<WiredScanFieldType, Serialization::DeserializeCallback>;

class ORVA_EXPORT SerializablePacket {
 public:
  virtual ~SerializablePacket();

  // The callbacks refer to this object's members: they are valid only while it lives, and the
  // object must not be used from another thread while one of them runs.
  virtual SerializeMap GetSerializeMap() const = 0;
  virtual DeserializeMap GetDeserializeMap() = 0;

 protected:
  SerializablePacket() = default;
  SerializablePacket(const SerializablePacket&) = default;
  SerializablePacket& operator=(const SerializablePacket&) = default;
};

}  // namespace ORVA::MESH::SDK::ScanWired
