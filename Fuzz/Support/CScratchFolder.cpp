#include "Fuzz/Support/CScratchFolder.h"

#include <unistd.h>

#include <fstream>
#include <iterator>

namespace Fuzzing
{

CScratchFolder::CScratchFolder()
    : m_path(std::filesystem::temp_directory_path() / ("veko2-fuzz-" + std::to_string(::getpid())))
{
    std::filesystem::create_directory(m_path);
}

CScratchFolder::~CScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFile(const std::filesystem::path& file, std::span<const std::uint8_t> content)
{
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(content.data()),
                 static_cast<std::streamsize>(content.size()));
}

}  // namespace Fuzzing
