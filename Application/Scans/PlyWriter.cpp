#include "Application/Scans/PlyWriter.h"

#include <bit>
#include <cstddef>
#include <stdexcept>

#include "Application/Files/CReplacementFile.h"

namespace Application
{

namespace
{

void Check(const SNewScan& scan)
{
    if (!scan.normals.empty() && scan.normals.size() != scan.positions.size())
    {
        throw std::invalid_argument("WritePly: " + std::to_string(scan.normals.size()) +
                                    " normals for " + std::to_string(scan.positions.size()) +
                                    " positions");
    }
    for (const auto& triangle : scan.triangles)
    {
        for (const std::uint32_t corner : triangle)
        {
            if (corner >= scan.positions.size())
            {
                throw std::invalid_argument("WritePly: a triangle names position " +
                                            std::to_string(corner) + " of " +
                                            std::to_string(scan.positions.size()));
            }
        }
    }
    for (const std::string& comment : scan.comments)
    {
        if (comment.find_first_of("\r\n") != std::string::npos)
        {
            throw std::invalid_argument("WritePly: a comment has more than one line");
        }
    }
}

[[nodiscard]] std::string MakeHeader(const SNewScan& scan)
{
    std::string header = "ply\nformat binary_little_endian 1.0\n";
    for (const std::string& comment : scan.comments)
    {
        header += "comment " + comment + "\n";
    }
    header += "element vertex " + std::to_string(scan.positions.size()) +
              "\nproperty float x\nproperty float y\nproperty float z\n";
    if (!scan.normals.empty())
    {
        header += "property float nx\nproperty float ny\nproperty float nz\n";
    }
    if (!scan.triangles.empty())
    {
        header += "element face " + std::to_string(scan.triangles.size()) +
                  "\nproperty list uchar uint vertex_indices\n";
    }
    return header + "end_header\n";
}

/// One record of the file, put together number by number.
class CRecord
{
public:
    void Clear() { m_size = 0; }

    void AddByte(std::uint8_t value) { m_bytes[m_size++] = static_cast<std::byte>(value); }

    void AddWord(std::uint32_t value)
    {
        for (unsigned shift = 0; shift < 32; shift += 8)
        {
            AddByte(static_cast<std::uint8_t>(value >> shift));
        }
    }

    void AddVector(const LqVector3f& vector)
    {
        for (const float value : {vector.x, vector.y, vector.z})
        {
            AddWord(std::bit_cast<std::uint32_t>(value));
        }
    }

    [[nodiscard]] std::span<const std::byte> GetBytes() const { return {m_bytes.data(), m_size}; }

private:
    std::array<std::byte, 24> m_bytes = {};
    std::size_t m_size = 0;
};

}  // namespace

void WritePly(const std::filesystem::path& file, const SNewScan& scan, bool force)
{
    Check(scan);
    CReplacementFile output(file, force);
    output.Write(MakeHeader(scan));
    CRecord record;
    for (std::size_t index = 0; index < scan.positions.size(); ++index)
    {
        record.Clear();
        record.AddVector(scan.positions[index]);
        if (!scan.normals.empty())
        {
            record.AddVector(scan.normals[index]);
        }
        output.Write(record.GetBytes());
    }
    for (const auto& triangle : scan.triangles)
    {
        record.Clear();
        record.AddByte(3);
        for (const std::uint32_t corner : triangle)
        {
            record.AddWord(corner);
        }
        output.Write(record.GetBytes());
    }
    output.Commit();
}

}  // namespace Application
