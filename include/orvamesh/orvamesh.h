#pragma once
// The whole public interface of liborvamesh. Including this one header is enough; the
// per-concept headers below may also be included on their own.
#include "orvamesh/export.h"
#include "orvamesh/mac.h"
#include "orvamesh/platform/file_lock.h"
#include "orvamesh/platform/ip_address.h"
#include "orvamesh/platform/mac_address.h"
#include "orvamesh/platform/system_root.h"
#include "orvamesh/utils/epoll_wrapper.h"
#include "orvamesh/utils/exception.h"
#include "orvamesh/utils/log.h"
#include "orvamesh/utils/mutex.h"
#include "orvamesh/utils/pipe_wrapper.h"
#include "orvamesh/utils/rwlock.h"
#include "orvamesh/utils/socket_wrapper.h"
#include "orvamesh/utils/source_path.h"
#include "orvamesh/utils/utils.h"
