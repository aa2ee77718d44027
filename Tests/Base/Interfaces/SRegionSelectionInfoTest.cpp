#include "Base/Interfaces/SRegionSelectionInfo.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Support/VekoException.h"

namespace
{

using Base::MakeRegionSelection;
using Base::SRegionSelectionInfo;

LqMatrix4Rf MakeMatrix(float first)
{
    LqMatrix4Rf matrix;
    matrix(0, 0) = first;
    return matrix;
}

TEST(SRegionSelectionInfo, Layout_HasItsMembersInOrder)
{
    EXPECT_EQ(offsetof(SRegionSelectionInfo, transform1), 0U);
    EXPECT_EQ(offsetof(SRegionSelectionInfo, transform2), 64U);
    EXPECT_EQ(offsetof(SRegionSelectionInfo, transform3), 128U);
    EXPECT_EQ(offsetof(SRegionSelectionInfo, reserved), 192U);
    EXPECT_EQ(offsetof(SRegionSelectionInfo, maskData), 192U + sizeof(void*));
    EXPECT_EQ(offsetof(SRegionSelectionInfo, maskWidth), 192U + 2 * sizeof(void*));
    EXPECT_EQ(offsetof(SRegionSelectionInfo, maskHeight), 196U + 2 * sizeof(void*));
    EXPECT_EQ(alignof(SRegionSelectionInfo), 16U);
}

TEST(MakeRegionSelection, Record_HoldsWhatWasGiven)
{
    const auto selection = MakeRegionSelection(MakeMatrix(1), MakeMatrix(2), MakeMatrix(3),
                                               {1, 0, 2, 255, 0, 1}, 3, 2);
    EXPECT_EQ(selection->transform1, MakeMatrix(1));
    EXPECT_EQ(selection->transform2, MakeMatrix(2));
    EXPECT_EQ(selection->transform3, MakeMatrix(3));
    EXPECT_EQ(selection->reserved, nullptr);
    EXPECT_EQ(selection->maskWidth, 3U);
    EXPECT_EQ(selection->maskHeight, 2U);
    EXPECT_EQ(std::vector<std::uint8_t>(selection->maskData, selection->maskData + 6),
              (std::vector<std::uint8_t>{1, 0, 2, 255, 0, 1}));
}

TEST(MakeRegionSelection, Mask_IsTakenOverWithoutCopying)
{
    std::vector<std::uint8_t> mask(12, 1);
    const std::uint8_t* const place = mask.data();
    const auto selection =
        MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(), LqMatrix4Rf(), std::move(mask), 4, 3);
    EXPECT_EQ(selection->maskData, place);
}

TEST(MakeRegionSelection, MaskBytes_LiveAsLongAsAnyReference)
{
    auto selection = MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(), LqMatrix4Rf(),
                                         std::vector<std::uint8_t>(10'000, 7), 100, 100);
    const std::shared_ptr<const SRegionSelectionInfo> last = selection;
    selection.reset();
    EXPECT_EQ(last->maskData[9'999], 7);
}

TEST(MakeRegionSelection, WrongNumberOfBytes_IsRefused)
{
    const auto make = [](std::size_t numBytes, std::uint32_t width, std::uint32_t height) {
        return MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(), LqMatrix4Rf(),
                                   std::vector<std::uint8_t>(numBytes), width, height);
    };
    EXPECT_THROW(static_cast<void>(make(5, 3, 2)), VekoException);
    EXPECT_THROW(static_cast<void>(make(7, 3, 2)), VekoException);
    EXPECT_THROW(static_cast<void>(make(1, 0, 0)), VekoException);
    EXPECT_THROW(static_cast<void>(make(0, 1, 1)), VekoException);
    EXPECT_NE(make(6, 3, 2), nullptr);
}

TEST(MakeRegionSelection, SizeThatOverflows32Bits_IsNotTakenForASmallOne)
{
    const LqMatrix4Rf matrix;
    EXPECT_THROW(static_cast<void>(MakeRegionSelection(matrix, matrix, matrix, {}, 65'536, 65'536)),
                 VekoException);
}

TEST(MakeRegionSelection, Refusal_NamesTheNumbers)
{
    try
    {
        static_cast<void>(
            MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(), LqMatrix4Rf(), {1, 1}, 640, 480));
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.what(), "A mask of 640 x 480 pixels needs 307200 bytes, but has 2.");
    }
}

TEST(MakeRegionSelection, SizeOfZero_IsAccepted)
{
    const auto selection =
        MakeRegionSelection(LqMatrix4Rf(), LqMatrix4Rf(), LqMatrix4Rf(), {}, 0, 480);
    EXPECT_EQ(selection->maskWidth, 0U);
    EXPECT_EQ(selection->maskHeight, 480U);
}

}  // namespace
