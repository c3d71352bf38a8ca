#pragma once
// The whole public interface of liborvamesh. Including this one header is enough; the
// per-concept headers below may also be included on their own.
#include "orvamesh/export.h"
#include "orvamesh/node/led_blinking_setting.h"
#include "orvamesh/node/led_config.h"
#include "orvamesh/node/led_mode.h"
#include "orvamesh/node/led_schedule_setting.h"
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
