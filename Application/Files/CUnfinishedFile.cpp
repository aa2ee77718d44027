#include "Application/Files/CUnfinishedFile.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstring>

namespace Application
{

namespace
{

enum SlotState : int
{
    Free,
    Claimed,
    Filled,
};

struct SSlot
{
    std::atomic<int> state = Free;
    std::array<char, PATH_MAX> file{};
};

static_assert(std::atomic<int>::is_always_lock_free, "read by a signal handler");

// Of a fixed size, so that a signal handler finds it whole at any moment.
std::array<SSlot, 16> g_slots;

std::size_t Claim()
{
    for (std::size_t index = 0; index < g_slots.size(); ++index)
    {
        int expected = Free;
        if (g_slots[index].state.compare_exchange_strong(expected, Claimed))
        {
            return index;
        }
    }
    return g_slots.size();
}

}  // namespace

CUnfinishedFile::CUnfinishedFile(const std::filesystem::path& file)
    : m_slot(file.native().size() < PATH_MAX ? Claim() : g_slots.size())
{
    if (m_slot < g_slots.size())
    {
        std::memcpy(g_slots[m_slot].file.data(), file.c_str(), file.native().size() + 1);
        g_slots[m_slot].state.store(Filled);
    }
}

CUnfinishedFile::~CUnfinishedFile()
{
    if (m_slot < g_slots.size())
    {
        g_slots[m_slot].state.store(Free);
    }
}

void CUnfinishedFile::RemoveAll() noexcept
{
    for (const SSlot& slot : g_slots)
    {
        if (slot.state.load() == Filled)
        {
            ::unlink(slot.file.data());
        }
    }
}

}  // namespace Application
