#include "Application/Projects/TransformList.h"

#include <gmock/gmock.h>

#include "Application/Files/CInputError.h"
#include "Application/Files/COutputError.h"
#include "Tests/Application/Files/FileTestSupport.h"

namespace
{

using Application::ReadTransformList;
using testing::HasSubstr;

constexpr const char* c_identity = " 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n";

std::vector<Application::SListedTransform> Read(const std::string& text)
{
    const FileTest::CTemporaryFolder folder;
    FileTest::WriteAll(folder / "list.txt", text);
    return ReadTransformList(folder / "list.txt");
}

std::string ReadMessage(const std::string& text)
{
    try
    {
        (void)Read(text);
    }
    catch (const Application::CInputError& error)
    {
        return error.what();
    }
    return "";
}

TEST(TransformListTest, Read_NumbersAreTheElementsInOrder)
{
    const auto list = Read("a.ply 2 0 0 0 0 1 0 0 0 0 1 0 7 8.5 -9e2 1\n");
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].file, "a.ply");
    EXPECT_EQ(list[0].transform(0, 0), 2.0);
    EXPECT_EQ(list[0].transform(3, 0), 7.0);
    EXPECT_EQ(list[0].transform(3, 1), 8.5);
    EXPECT_EQ(list[0].transform(3, 2), -900.0);
}

TEST(TransformListTest, Read_PassesOverCommentsAndEmptyLines)
{
    const auto list =
        Read("# a list\n\n  \na.ply" + std::string(c_identity) + "\r\nb.ply" + c_identity);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[1].file, "b.ply");
}

TEST(TransformListTest, Read_NamesMayHaveBlanksAndNumbers)
{
    EXPECT_EQ(Read("  scan 1 of 2.ply" + std::string(c_identity))[0].file, "scan 1 of 2.ply");
}

TEST(TransformListTest, Read_ALineEndOfTwoCharactersIsNoPartOfANumber)
{
    EXPECT_EQ(Read("a.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\r\n").size(), 1U);
}

TEST(TransformListTest, Read_TooFewNumbersNameTheLine)
{
    EXPECT_THAT(ReadMessage("# list\na.ply 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0\n"),
                HasSubstr("line 2: expected a file name and 16 numbers, found 'a.ply'"));
}

TEST(TransformListTest, Read_NumbersWithoutANameAreRefused)
{
    EXPECT_THAT(ReadMessage(c_identity), HasSubstr("line 1: expected a file name"));
    EXPECT_THAT(ReadMessage(std::string("a\0b.ply", 7) + c_identity),
                HasSubstr("line 1: expected a file name before the 16 numbers, found 'a?b.ply'"));
}

TEST(TransformListTest, Read_AMatrixInColumnOrderIsRefused)
{
    EXPECT_THAT(ReadMessage("a.ply 1 0 0 7 0 1 0 8 0 0 1 9 0 0 0 1\n"),
                HasSubstr("line 1: expected a transform"));
}

TEST(TransformListTest, Read_AMatrixWithoutInverseIsRefused)
{
    EXPECT_THAT(ReadMessage("a.ply 1 0 0 0 0 0 0 0 0 0 1 0 0 0 0 1\n"), HasSubstr("inverse"));
}

TEST(TransformListTest, Read_NumbersThatAreNotFiniteAreRefused)
{
    EXPECT_THAT(ReadMessage("a.ply 1 0 0 0 0 1 0 0 0 0 1 0 nan 0 0 1\n"), HasSubstr("finite"));
}

TEST(TransformListTest, Read_AScanTwiceIsRefused)
{
    EXPECT_THAT(ReadMessage("a.ply" + std::string(c_identity) + "a.ply" + c_identity),
                HasSubstr("line 2: expected one line per scan"));
}

TEST(TransformListTest, Read_AByteOrderMarkIsNoPartOfTheFirstName)
{
    const auto list = Read(
        "\xEF\xBB\xBF"
        "a.ply" +
        std::string(c_identity));
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].file, "a.ply");
}

TEST(TransformListTest, Read_AnEmptyListIsRefused)
{
    EXPECT_THAT(ReadMessage("# nothing\n"), HasSubstr("found none"));
}

TEST(TransformListTest, Print_ReadsBackAsTheSameNumbers)
{
    LqMatrix4Rd transform = c_matIdentityD;
    transform(0, 1) = 0.1;
    transform(3, 2) = 1.0 / 3.0;
    const auto list = Read(Application::PrintTransformList({{"a b.ply", transform}}, "list"));
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].file, "a b.ply");
    EXPECT_EQ(list[0].transform, transform);
}

TEST(TransformListTest, Print_ReadsBackNamesThatLookLikeSomethingElse)
{
    const auto list = Read(Application::PrintTransformList({{"\xEF\xBB\xBF"
                                                             "0.ply",
                                                             c_matIdentityD},
                                                            {"#a.ply", c_matIdentityD},
                                                            {" b.ply", c_matIdentityD},
                                                            {"1 2.ply", c_matIdentityD}},
                                                           "list"));
    ASSERT_EQ(list.size(), 4U);
    EXPECT_EQ(list[0].file,
              "./\xEF\xBB\xBF"
              "0.ply");
    EXPECT_EQ(list[1].file, "./#a.ply");
    EXPECT_EQ(list[2].file, "./ b.ply");
    EXPECT_EQ(list[3].file, "1 2.ply");
}

TEST(TransformListTest, Print_RefusesNamesThatNoLineHolds)
{
    for (const char* const name : {"", "a\nb.ply", "a.ply\n", "a.ply ", "a.ply\t"})
    {
        EXPECT_THROW((void)Application::PrintTransformList({{name, c_matIdentityD}}, "list.txt"),
                     Application::COutputError)
            << name;
    }
}

}  // namespace
