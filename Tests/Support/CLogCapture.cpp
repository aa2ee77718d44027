#include "Tests/Support/CLogCapture.h"

namespace TestSupport
{

CLogCapture::CLogCapture(int level)
{
    Logging::SetLogSink([this](const Logging::SLogRecord& record) {
        const std::lock_guard lock(m_mutex);
        m_records.push_back(record);
    });
    Logging::SetLogLevel(level);
}

CLogCapture::~CLogCapture()
{
    Logging::SetLogLevel(Logging::c_levelWarn);
    Logging::SetLogSink({});
}

std::vector<Logging::SLogRecord> CLogCapture::GetRecords() const
{
    const std::lock_guard lock(m_mutex);
    return m_records;
}

}  // namespace TestSupport
