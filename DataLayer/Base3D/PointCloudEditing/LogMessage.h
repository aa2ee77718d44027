#pragma once

#include "Base/Support/CLogger.h"

/// Writes one message of \p level (Debug, Info or Warn) to \p logger: file, line, function, wide
/// format and its arguments. They are evaluated only when the level is enabled.
#define VEKO2_LOG(logger, level, ...)                            \
    do                                                           \
    {                                                            \
        if ((logger).IsLogLevelEnabled(Logging::c_level##level)) \
        {                                                        \
            (logger).level(__VA_ARGS__);                         \
        }                                                        \
    } while (false)
