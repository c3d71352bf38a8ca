#pragma once
// The mesh daemon as management programs see it: one operation per request the daemon
// understands. Each returns ERROR_CODE::NONE (with the result, for operations that have one)
// when the daemon did it, another ERROR_CODE when the daemon refused, and throws
// Exception::MeshClientException, with the cause nested, for every fault on the way
// (no daemon on the bus, a broken bus, an undecodable answer).
//
// Take the process's one client from MeshClientFactory::GetClient(); its calls are
// serialised, so concurrent callers wait for each other's round trip.
#include <json/value.h>

#include <memory>
#include <string>

#include "orvamesh/client/error_code.h"
#include "orvamesh/client/mesh_operations.h"
#include "orvamesh/client/mesh_records.h"
#include "orvamesh/export.h"

namespace ORVA::MESH::SDK::Client {

class ORVA_EXPORT MeshClient {
 public:
  virtual ~MeshClient();

  // One operation per line of ORVA_MESH_CLIENT_OPERATIONS (mesh_operations.h), for example
  //   Result<std::string> GetNodeName(NodeId nodeId);
  //   ERROR_CODE RemoveNodes(const NodeIdList& nodeIds);
#define ORVA_DECLARE_OPERATION(Return, Operation, Parameters, ...) Return Operation Parameters;
  ORVA_MESH_CLIENT_OPERATIONS(ORVA_DECLARE_OPERATION, ORVA_DECLARE_OPERATION)
#undef ORVA_DECLARE_OPERATION

 protected:
  MeshClient() = default;
  MeshClient(const MeshClient&) = delete;
  MeshClient& operator=(const MeshClient&) = delete;

  // Each operation calls its twin, named like it with the suffix "Impl", in the list's order.
#define ORVA_DECLARE_IMPL(Return, Operation, Parameters, ...) virtual Return Operation##Impl Parameters = 0;
  ORVA_MESH_CLIENT_OPERATIONS(ORVA_DECLARE_IMPL, ORVA_DECLARE_IMPL)
#undef ORVA_DECLARE_IMPL
};

class ORVA_EXPORT MeshClientFactory {
 public:
  // The process's one client, created on first use for the mesh daemon on the system bus.
  // A failure to create it (no system bus) propagates unwrapped; the next call tries again.
  static std::shared_ptr<MeshClient> GetClient();
};

}  // namespace ORVA::MESH::SDK::Client
