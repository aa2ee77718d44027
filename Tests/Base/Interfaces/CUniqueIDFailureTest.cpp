// An identifier whose random bytes come late, or not at all.

#include <gtest/gtest.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "Base/Interfaces/CUniqueID.h"
#include "Base/Support/VekoException.h"

namespace
{

/// The next calls of getrandom() are interrupted so often by a signal, and then fail with the
/// error.
int g_numInterruptions = 0;
int g_error = 0;

}  // namespace

/// Takes the place of the system's for the whole program.
extern "C" [[gnu::visibility("default")]] ssize_t getrandom(void* buffer, std::size_t size,
                                                            unsigned int flags)
{
    if (g_numInterruptions > 0)
    {
        --g_numInterruptions;
        errno = EINTR;
        return -1;
    }
    if (g_error != 0)
    {
        errno = g_error;
        return -1;
    }
    return static_cast<ssize_t>(syscall(SYS_getrandom, buffer, size, flags));
}

namespace Base
{
namespace
{

class CUniqueIDFailureTest : public testing::Test
{
protected:
    ~CUniqueIDFailureTest() override
    {
        g_numInterruptions = 0;
        g_error = 0;
    }
};

TEST_F(CUniqueIDFailureTest, SignalsThatInterruptTheDrawing_AreOutlasted)
{
    g_numInterruptions = 3;
    const CUniqueID id;
    EXPECT_EQ(g_numInterruptions, 0);
    EXPECT_EQ(id.GetBytes()[6] & 0xF0, 0x40);
    EXPECT_NE(id, CUniqueID());
}

TEST_F(CUniqueIDFailureTest, GeneratorThatFails_IsAnException)
{
    g_numInterruptions = 1;
    g_error = ENOSYS;
    try
    {
        const CUniqueID id;
        FAIL() << "an identifier without random bytes";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.GetFilename(), "Base/Interfaces/CUniqueID");
        EXPECT_EQ(exception.GetMessageText(),
                  L"The system's random generator failed with error 38.");
    }
}

}  // namespace
}  // namespace Base
