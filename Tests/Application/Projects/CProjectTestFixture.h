#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Application/Projects/CProject.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace ProjectTest
{

/// A project of two scans with three points each, in a folder of its own.
class CProjectTest : public testing::Test
{
protected:
    using Access = Application::CProject::Access;
    using Words = Application::CProject::Words;

    CProjectTest();

    /// Replaces it by a new one with \p numScans scans.
    void create(std::uint64_t historyBudget, std::size_t numScans = 2);

    [[nodiscard]] std::filesystem::path project() const { return m_folder / "p.veko2.json"; }
    [[nodiscard]] std::filesystem::path data(const std::string& name) const
    {
        return m_folder.GetPath() / "p.veko2.data" / name;
    }

    [[nodiscard]] Application::CProject edit() const;

    /// Makes every word of the scan \p value.
    std::size_t commit(std::size_t scan, std::uint16_t value) const;

    [[nodiscard]] Words read(std::size_t scan) const;

    /// What opening says that fails.
    [[nodiscard]] std::string openMessage(Access access = Access::Read) const;

    [[nodiscard]] std::vector<std::string> listData() const;

    /// Everything that makes the project up.
    [[nodiscard]] std::vector<std::string> snapshot() const;

    FileTest::CTemporaryFolder m_folder;
};

}  // namespace ProjectTest
