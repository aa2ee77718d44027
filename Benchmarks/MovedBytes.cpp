#include "Benchmarks/MovedBytes.h"

#include <benchmark/benchmark.h>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "Base/Support/ParallelFor.h"

namespace MovedBytes
{

namespace
{

constexpr std::size_t c_surfelsPerBlock = 65536;
constexpr std::size_t c_surfelsPerStep = 512;
constexpr std::size_t c_prefetchDistance = 8192;

using Vector [[gnu::vector_size(16)]] = std::uint64_t;

Vector Load(const std::byte* bytes)
{
    Vector value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::uint64_t ReadBytes(const std::byte* bytes, std::size_t numBytes, bool doesPrefetch)
{
    constexpr std::size_t c_line = 4 * sizeof(Vector);
    // Sums that do not wait for each other.
    Vector a{};
    Vector b{};
    Vector c{};
    Vector d{};
    for (std::size_t line = 0; line + c_line <= numBytes; line += c_line)
    {
        if (doesPrefetch)
        {
            __builtin_prefetch(bytes + line + c_prefetchDistance);
        }
        a ^= Load(bytes + line);
        b ^= Load(bytes + line + sizeof(Vector));
        c ^= Load(bytes + line + 2 * sizeof(Vector));
        d ^= Load(bytes + line + 3 * sizeof(Vector));
    }
    const Vector sum = a ^ b ^ c ^ d;
    return sum[0] ^ sum[1];
}

void CopyWords(const STask& task, std::size_t begin, std::size_t end)
{
    std::copy(task.oldWords.data() + begin, task.oldWords.data() + end, task.words.data() + begin);
}

/// Past the caches, where the processor can.
void StreamWords(const STask& task, std::size_t begin, std::size_t end)
{
#ifdef __SSE2__
    constexpr std::size_t c_numWords = sizeof(__m128i) / sizeof(Base::CSurfelBitMask);
    const auto isAligned = [&](std::size_t index) {
        return reinterpret_cast<std::uintptr_t>(task.words.data() + index) % sizeof(__m128i) == 0;
    };
    for (; begin < end && !isAligned(begin); ++begin)
    {
        task.words[begin] = task.oldWords[begin];
    }
    for (; begin + c_numWords <= end; begin += c_numWords)
    {
        __m128i value;
        std::memcpy(&value, task.oldWords.data() + begin, sizeof value);
        _mm_stream_si128(reinterpret_cast<__m128i*>(task.words.data() + begin), value);
    }
#endif
    CopyWords(task, begin, end);
}

template <bool c_doesStream, bool c_doesPrefetch>
void Move(const STask& task)
{
    const std::size_t count = task.words.size();
    const std::size_t numBlocks = (count + c_surfelsPerBlock - 1) / c_surfelsPerBlock;
    Base::ParallelFor(static_cast<std::uint32_t>(numBlocks), [&](std::uint32_t block) {
        const std::size_t firstOfBlock = block * c_surfelsPerBlock;
        const std::size_t endOfBlock = std::min(firstOfBlock + c_surfelsPerBlock, count);
        std::uint64_t sum = 0;
        for (std::size_t begin = firstOfBlock; begin < endOfBlock; begin += c_surfelsPerStep)
        {
            const std::size_t end = std::min(begin + c_surfelsPerStep, endOfBlock);
            sum ^= ReadBytes(task.positions + begin * task.stride, (end - begin) * task.stride,
                             c_doesPrefetch);
            (c_doesStream ? StreamWords : CopyWords)(task, begin, end);
        }
        benchmark::DoNotOptimize(sum);
    });
    benchmark::ClobberMemory();
}

}  // namespace

std::vector<SForm> GetForms()
{
    return {{"plain", Move<false, false>},
            {"prefetch", Move<false, true>},
            {"streaming", Move<true, false>},
            {"streaming+prefetch", Move<true, true>}};
}

}  // namespace MovedBytes
