#pragma once

#include <thread>

namespace CommandLine
{

/// Has the threads of Base::ParallelFor() started in the background while a command prepares its
/// first loop. It takes the scheduler a moment to begin, and a system may keep a new thread for
/// some milliseconds on the core of the one that made it, which is as long as a short loop takes.
class CEarlyWorkers
{
public:
    /// Where threads cannot be made, nothing is lost but the head start.
    CEarlyWorkers() noexcept;
    ~CEarlyWorkers();
    CEarlyWorkers(const CEarlyWorkers&) = delete;
    CEarlyWorkers& operator=(const CEarlyWorkers&) = delete;

private:
    std::thread m_starter;
};

}  // namespace CommandLine
