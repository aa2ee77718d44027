#include "Base/Support/VekoException.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cwchar>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace
{

const char* const c_file = "Folder/Class";
const char* const c_function = "Namespace::Class::Function";

/// What the throw routine throws for a format and its arguments.
template <typename... Arguments>
VekoException Thrown(const wchar_t* format, Arguments... arguments)
{
    try
    {
        ThrowVekoException(c_file, 17, c_function, format, arguments...);
    }
    catch (const VekoException& exception)
    {
        return exception;
    }
}

template <typename Caught>
bool IsCaughtAs()
{
    try
    {
        ThrowVekoException(c_file, 17, c_function, L"text");
    }
    catch (const Caught&)
    {
        return true;
    }
    catch (...)
    {
        return false;
    }
}

/// Runs in the named locale and then again in the one before.
class CLocale
{
public:
    explicit CLocale(const char* name) : m_isSet(std::setlocale(LC_ALL, name) != nullptr) {}
    ~CLocale() { std::setlocale(LC_ALL, m_before.c_str()); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;
    [[nodiscard]] bool IsSet() const { return m_isSet; }

private:
    std::string m_before = std::setlocale(LC_ALL, nullptr);
    bool m_isSet;
};

TEST(VekoException, Thrown_IsCaughtAsItselfAndEveryBase)
{
    EXPECT_TRUE(IsCaughtAs<VekoException>());
    EXPECT_TRUE(IsCaughtAs<LqException>());
    EXPECT_TRUE(IsCaughtAs<IException>());
    EXPECT_TRUE(IsCaughtAs<IObject>());
    EXPECT_TRUE(IsCaughtAs<std::exception>());
    EXPECT_FALSE(IsCaughtAs<int>());
}

TEST(VekoException, Layout_HasItsBasesInOrder)
{
    static_assert(std::is_base_of_v<IException, LqException>);
    static_assert(std::is_base_of_v<IObject, LqException>);
    static_assert(std::is_base_of_v<LqException, VekoException>);
    static_assert(std::is_base_of_v<std::exception, VekoException>);
    const VekoException exception(c_file, 1, c_function, L"text");
    const void* const start = &exception;
    const void* const lqException = static_cast<const LqException*>(&exception);
    const void* const iException = static_cast<const IException*>(&exception);
    const void* const iObject = static_cast<const IObject*>(&exception);
    const void* const stdException = static_cast<const std::exception*>(&exception);
    EXPECT_EQ(lqException, start);
    EXPECT_EQ(iException, start);
    EXPECT_LT(iException, iObject);
    EXPECT_LT(iObject, stdException);
}

TEST(VekoException, Constructor_KeepsPlaceAndMessage)
{
    const VekoException exception(c_file, 4711, c_function, L"message");
    EXPECT_EQ(exception.GetFilename(), c_file);
    EXPECT_EQ(exception.GetCodeLine(), 4711U);
    EXPECT_EQ(exception.GetFunctionName(), c_function);
    EXPECT_EQ(exception.GetMessageText(), L"message");
    EXPECT_STREQ(exception.what(), "message");
}

TEST(VekoException, Constructor_CopiesTheMessage)
{
    std::wstring message = L"message";
    const VekoException exception(c_file, 1, c_function, message.c_str());
    message.assign(message.size(), L'x');
    EXPECT_EQ(exception.GetMessageText(), L"message");
    EXPECT_STREQ(exception.what(), "message");
}

TEST(VekoException, Copy_OutlivesItsSource)
{
    auto source = std::make_unique<VekoException>(c_file, 5, c_function, L"text");
    const VekoException copy = *source;
    source.reset();
    EXPECT_STREQ(copy.what(), "text");
    EXPECT_EQ(copy.GetMessageText(), L"text");
    EXPECT_EQ(copy.GetFilename(), c_file);
    EXPECT_EQ(copy.GetCodeLine(), 5U);
    EXPECT_EQ(copy.GetFunctionName(), c_function);
}

TEST(VekoException, GetThreadID_IsThatOfTheConstructingThread)
{
    const VekoException here(c_file, 1, c_function, L"");
    EXPECT_EQ(here.GetThreadID(), static_cast<unsigned>(gettid()));
    unsigned there = 0;
    std::thread thread([&] { there = VekoException(c_file, 1, c_function, L"").GetThreadID(); });
    thread.join();
    EXPECT_NE(there, here.GetThreadID());
}

TEST(VekoException, Clone_IsAnLqExceptionWithPlaceThreadAndMessage)
{
    const VekoException exception(c_file, 23, c_function, L"text");
    const std::unique_ptr<IException> clone = exception.Clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(dynamic_cast<const VekoException*>(clone.get()), nullptr);
    const auto* const lqException = dynamic_cast<const LqException*>(clone.get());
    ASSERT_NE(lqException, nullptr);
    EXPECT_EQ(lqException->GetMessageText(), L"text");
    EXPECT_EQ(clone->GetFilename(), c_file);
    EXPECT_EQ(clone->GetCodeLine(), 23U);
    EXPECT_EQ(clone->GetFunctionName(), c_function);
    EXPECT_EQ(clone->GetThreadID(), exception.GetThreadID());
}

TEST(VekoException, ClassNameAndTypeRecord_AreThoseOfLqException)
{
    const VekoException exception(c_file, 1, c_function, L"text");
    const LqException base(c_file, 1, c_function, L"text");
    EXPECT_STREQ(exception.GetClassNameW(), L"LqException");
    EXPECT_EQ(&exception.GetRTTI(), &base.GetRTTI());
    EXPECT_STREQ(exception.GetRTTI().className, L"LqException");
}

TEST(VekoException, What_IsUnknownExceptionWithoutAMessage)
{
    EXPECT_STREQ(VekoException(c_file, 1, c_function, L"").what(), "Unknown exception");
    EXPECT_STREQ(VekoException(c_file, 1, c_function, nullptr).what(), "Unknown exception");
    EXPECT_EQ(VekoException(c_file, 1, c_function, nullptr).GetMessageText(), L"");
}

class VekoExceptionLocaleTest : public testing::TestWithParam<const char*>
{};

TEST_P(VekoExceptionLocaleTest, What_IsUtf8)
{
    const CLocale locale(GetParam());
    ASSERT_TRUE(locale.IsSet());
    const VekoException exception(c_file, 1, c_function,
                                  L"Gr\u00F6\u00DFe \u20AC \u65E5 \U0001F600");
    EXPECT_STREQ(exception.what(),
                 "Gr\xC3\xB6\xC3\x9F"
                 "e \xE2\x82\xAC \xE6\x97\xA5 \xF0\x9F\x98\x80");
    EXPECT_STREQ(Thrown(L"%s \u00E4", L"\u00F6").what(), "\xC3\xB6 \xC3\xA4");
}

INSTANTIATE_TEST_SUITE_P(Locales, VekoExceptionLocaleTest, testing::Values("C", "POSIX", "C.utf8"));

TEST(VekoException, What_ReplacesWhatIsNoCodePoint)
{
    const wchar_t text[] = {L'a', static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000),
                            L'b', L'\0'};
    EXPECT_STREQ(VekoException(c_file, 1, c_function, text).what(),
                 "a\xEF\xBF\xBD\xEF\xBF\xBD"
                 "b");
}

TEST(VekoException, What_LongTextIsWhole)
{
    const std::wstring text(100'000, L'\u00E4');
    const VekoException exception(c_file, 1, c_function, text.c_str());
    EXPECT_EQ(std::string(exception.what()).size(), 200'000U);
}

TEST(ThrowVekoException, Thrown_HasPlaceAndMessage)
{
    const VekoException exception = Thrown(L"Invalid cached model");
    EXPECT_STREQ(exception.GetFilename(), "Folder/Class");
    EXPECT_EQ(exception.GetCodeLine(), 17U);
    EXPECT_STREQ(exception.GetFunctionName(), "Namespace::Class::Function");
    EXPECT_STREQ(exception.what(), "Invalid cached model");
    EXPECT_EQ(exception.GetMessageText(), L"Invalid cached model");
}

TEST(ThrowVekoException, FormatWithArguments_IsFormatted)
{
    EXPECT_EQ(Thrown(L"%d of %s", 3, L"four").GetMessageText(), L"3 of four");
}

TEST(ThrowVekoException, StringConversion_TakesWideText)
{
    EXPECT_EQ(Thrown(L"Entity %s!", L"\u00C4ffchen").GetMessageText(), L"Entity \u00C4ffchen!");
}

TEST(ThrowVekoException, TwoPercentSigns_AreAFormatAndBecomeOne)
{
    EXPECT_EQ(Thrown(L"100%%").GetMessageText(), L"100%");
}

TEST(ThrowVekoException, FormattedTextOf8191Characters_IsWhole)
{
    const std::wstring text(8191, L'x');
    EXPECT_EQ(Thrown(L"%s", text.c_str()).GetMessageText(), text);
    const std::wstring head(8190, L'y');
    EXPECT_EQ(Thrown(L"%s%d", head.c_str(), 7).GetMessageText(), head + L"7");
}

TEST(ThrowVekoException, FormattedTextOf8192Characters_IsCutTo8191)
{
    const std::wstring text = std::wstring(8191, L'x') + L"y";
    EXPECT_EQ(Thrown(L"%s", text.c_str()).GetMessageText(), std::wstring(8191, L'x'));
    const std::wstring head(8190, L'y');
    EXPECT_EQ(Thrown(L"%s%d", head.c_str(), 78).GetMessageText(), head + L"7");
}

TEST(ThrowVekoException, VeryLongFormattedText_IsItsFirst8191Characters)
{
    std::wstring text;
    for (int index = 0; text.size() < 100'000; ++index)
    {
        text += std::to_wstring(index);
    }
    EXPECT_EQ(Thrown(L"%s and more", text.c_str()).GetMessageText(), text.substr(0, 8191));
    EXPECT_EQ(Thrown((L"%%" + text).c_str()).GetMessageText(), L"%" + text.substr(0, 8190));
    EXPECT_EQ(Thrown(L"%20000d", 1).GetMessageText(), std::wstring(8191, L' '));
}

TEST(ThrowVekoException, LongTextThatIsNotAscii_IsCutByCharacters)
{
    const std::wstring text(10'000, L'\u20AC');
    EXPECT_EQ(Thrown(L"%s", text.c_str()).GetMessageText(), text.substr(0, 8191));
    EXPECT_EQ(std::string(Thrown(L"%s", text.c_str()).what()).size(), 3U * 8191);
}

TEST(ThrowVekoException, MessageWithoutPercentSign_IsTakenVerbatimAtAnyLength)
{
    for (const std::size_t length : {0U, 1U, 8190U, 8191U, 8192U, 100'000U})
    {
        const std::wstring text(length, L'z');
        EXPECT_EQ(Thrown(text.c_str()).GetMessageText(), text) << length;
    }
}

TEST(ThrowVekoException, MessageWithoutPercentSign_MayContainAnyText)
{
    const wchar_t* const text = L"back\\slash \"quotes\" {0} \t\n \u65E5\u672C";
    EXPECT_EQ(Thrown(text).GetMessageText(), text);
}

TEST(ThrowVekoException, ManyThreadsAtOnce_DoNotMixTheirTexts)
{
    std::vector<std::thread> threads;
    std::vector<int> numRight(8);
    for (std::size_t number = 0; number < numRight.size(); ++number)
    {
        threads.emplace_back([number, &numRight] {
            const std::wstring own(1000 + number, static_cast<wchar_t>(L'a' + number));
            for (int round = 0; round < 200; ++round)
            {
                const auto expected = std::to_wstring(round) + L" " + own;
                numRight[number] +=
                    Thrown(L"%d %s", round, own.c_str()).GetMessageText() == expected ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(numRight, std::vector<int>(8, 200));
}

}  // namespace
