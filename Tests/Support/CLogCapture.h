#pragma once

#include <mutex>
#include <vector>

#include "Base/Support/CLogger.h"

namespace TestSupport
{

/// Collects all log messages while it lives; then level and sink are the default ones again.
class CLogCapture
{
public:
    /// \p level is the lowest enabled level.
    explicit CLogCapture(int level);
    ~CLogCapture();
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;

    /// The messages so far, in the order in which they were written.
    [[nodiscard]] std::vector<Logging::SLogRecord> GetRecords() const;

private:
    mutable std::mutex m_mutex;
    std::vector<Logging::SLogRecord> m_records;
};

}  // namespace TestSupport
