#include <string>
#include <vector>

#include "Application/Files/CInputError.h"
#include "Application/Scans/CScanFile.h"
#include "Base/Interfaces/IPointCloudSupport.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "Fuzz/Support/CScratchFolder.h"
#include "Fuzz/Support/FuzzTarget.h"

namespace Fuzzing
{

namespace
{

using Application::CInputError;
using Application::CScanFile;

// Which format a target of this source tests is in its compile definitions.
const std::string c_name = "scan." VEKO2_FUZZ_SCAN_FORMAT;
constexpr bool c_isStl = std::string_view(VEKO2_FUZZ_SCAN_FORMAT) == "stl";

/// Larger scans are only read.
constexpr std::size_t c_largestWritten = 1 << 16;

CScanFile Parse(std::span<const std::uint8_t> bytes)
{
    return CScanFile::Parse({c_name, std::as_bytes(bytes), nullptr});
}

std::span<const std::uint8_t> AsBytes(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Drops points in a pattern of their number and the input's size.
std::vector<Base::CSurfelBitMask> MakeFlags(std::uint64_t count, std::size_t inputSize)
{
    std::vector<Base::CSurfelBitMask> flags(count);
    for (std::size_t index = 0; index < flags.size(); ++index)
    {
        flags[index].bits = static_cast<std::uint16_t>((index * inputSize >> 1U) & 0xFU);
    }
    return flags;
}

/// What is written can be read, and has the points that were kept.
void TestKept(const CScanFile& scan, std::span<const std::uint8_t> input)
{
    const CScratchFolder folder;
    const std::filesystem::path file = folder / c_name;
    scan.WriteKept(file, Application::CKeptPoints({}), true);
    const std::string whole = ReadFile(file);
    Require(whole == std::string(input.begin(), input.end()),
            "a scan with all its points is the same file");

    const auto flags = MakeFlags(scan.GetPointCount(), input.size());
    const Application::CKeptPoints kept(flags);
    const std::uint64_t numKept = kept.CountKept(flags.size());
    try
    {
        scan.WriteKept(file, kept, true);
    }
    catch (const CInputError&)
    {
        // It has what cannot be cut.
        return;
    }
    const std::string rest = ReadFile(file);
    Require(rest.size() <= input.size(), "a cut scan is no larger");
    if (c_isStl)
    {
        // Vertices go with their triangles, and a text of no triangle is none.
        try
        {
            Require(Parse(AsBytes(rest)).GetPointCount() <= numKept,
                    "a cut scan has no more points than were kept");
        }
        catch (const CInputError&)
        {}
    }
    else if (numKept > 0)
    {
        Require(Parse(AsBytes(rest)).GetPointCount() == numKept,
                "a cut scan has the points that were kept");
    }
}

/// Flags that are written into a scan leave its points as they are.
void TestFlagged(const CScanFile& scan, std::span<const std::uint8_t> input)
{
    const CScratchFolder folder;
    const std::filesystem::path file = folder / c_name;
    try
    {
        scan.WriteFlagged(file, MakeFlags(scan.GetPointCount(), input.size()), true);
    }
    catch (const CInputError&)
    {
        return;
    }
    const std::string flagged = ReadFile(file);
    Require(Parse(AsBytes(flagged)).GetPointCount() == scan.GetPointCount(),
            "a flagged scan has the same points");
}

}  // namespace

/// A scan of one format: read, asked for everything, and written with fewer points.
void TestInput(std::span<const std::uint8_t> input)
{
    try
    {
        const CScanFile scan = Parse(input);
        {
            const auto triangulation = scan.GetTriangulation();
            Require(
                triangulation == nullptr || triangulation->vertices.size() == scan.GetPointCount(),
                "the faces' vertices are the points");
        }
        static_cast<void>(scan.Describe());
        Require(scan.GetSurfelCollection()->GetCount() == scan.GetPointCount(),
                "a scan has a surfel for each point");
        static_cast<void>(scan.GetSurfelCollection()->GetPointCloudSupport()->GetBoundingBox());
        if (input.size() <= c_largestWritten)
        {
            TestKept(scan, input);
            TestFlagged(scan, input);
        }
    }
    catch (const CInputError&)
    {}
}

}  // namespace Fuzzing
