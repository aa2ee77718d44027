#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Base/Interfaces/CStdStreamRead.h"
#include "Base/Interfaces/CStdStreamWrite.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/LargePages.h"
#include "Base/Support/TOptional.h"
#include "Base/Support/VekoException.h"
#include "Base/Support/shared_not_null.h"
#include "DataLayer/PointCloud/CSurfelCollectionMinimal.h"
#include "DataLayer/PointCloud/CSurfelCollectionPosition.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"
#include "Tests/DataLayer/Descriptions.h"
#include "Tests/DataLayer/OperationScenes.h"
#include "Tests/Support/Selections.h"

namespace TestSupport
{

namespace
{

std::string DescribeNothing()
{
    return {};
}

/// Longer than what a string keeps in itself.
std::wstring MakeText()
{
    return std::wstring(500, L'x');
}

/// \p complain throws a VekoException.
SScene MakeComplaintScene(const std::function<void()>& complain)
{
    const auto text = std::make_shared<std::string>();
    return {[=] {
                try
                {
                    complain();
                }
                catch (const VekoException& exception)
                {
                    *text = exception.what();
                }
            },
            [=] { return *text; }, DescribeNothing};
}

/// What is thrown, and what is wrong with what operations are given.
void AddComplaintScenes(std::vector<SNamedScene>& scenes)
{
    const auto add = [&](const std::string& name, const std::function<void()>& complain) {
        scenes.push_back({name, [=] { return MakeComplaintScene(complain); }, EHelpers::Nobody});
    };
    static const std::wstring c_text = MakeText();
    add("ThrowRoutine",
        [] { ThrowVekoException("file", 1, "function", L"%ls %d", c_text.c_str(), 7); });
    add("ThrowRoutineWithoutFormat",
        [] { ThrowVekoException("file", 1, "function", c_text.c_str()); });
    add("EmptyPointer",
        [] { const ScanAPI::shared_not_null<int> pointer{std::shared_ptr<int>()}; });
    add("MessageOfAnotherKind",
        [] { static_cast<void>(Base::CEntityMapModifyMessage().GetPartialValue()); });
    add("MissingAccessor",
        [] { static_cast<void>(DataLayer::CSurfelCollectionPosition().GetNormals()); });
    add("SelectionOfAnotherSize", [] { static_cast<void>(MakeDeviceSelection({}, 1, 1)); });
    add("EndOfStream", [] {
        std::istream stream(nullptr);
        char byte = 0;
        Base::CStdStreamRead(stream).Read(&byte, 1);
    });
    add("FullStream", [] {
        std::ostream stream(nullptr);
        Base::CStdStreamWrite(stream).Write("", 1);
    });
    const auto view =
        std::make_shared<DataLayer::CSurfelCollectionView>(nullptr, 0, nullptr, std::size_t{0});
    const auto source = std::make_shared<const DataLayer::CSurfelCollectionMinimal>();
    add("AppendToView", [=] { view->Append(*source, c_matIdentityD); });
    add("ScatterCopyToView", [=] { view->ScatterCopy(*source, {}, c_matIdentityD); });
}

std::string DescribeException(const LqException& exception)
{
    return exception.GetFilename() + std::to_string(exception.GetCodeLine()) +
           exception.GetFunctionName() + Describe(exception.GetMessageText());
}

std::string DescribeException(const VekoException& exception)
{
    const LqException& base = exception;
    return DescribeException(base) + Describe(exception.GetMessageText()) + exception.what();
}

/// An exception is made, copied, assigned and cloned.
template <typename Exception>
SScene MakeExceptionScene()
{
    const auto text = std::make_shared<const std::wstring>(MakeText());
    const auto source =
        std::make_shared<const Exception>("file", 1U, "function", MakeText().c_str());
    const auto result = std::make_shared<std::string>();
    return {[=] {
                const Exception made("made", 2, "maker", text->c_str());
                const Exception copied(*source);
                Exception assigned("old", 3, "owner", nullptr);
                assigned = *source;
                const auto clone = source->Clone();
                *result = DescribeException(made) + DescribeException(copied) +
                          DescribeException(assigned) +
                          DescribeException(dynamic_cast<const LqException&>(*clone));
            },
            [=] { return *result; }, [=] { return Describe(*text) + DescribeException(*source); }};
}

SScene MakeOptionalScene()
{
    using Optional = ScanAPI::TOptional<std::wstring>;
    const auto source = std::make_shared<const Optional>(MakeText());
    const auto result = std::make_shared<std::wstring>();
    return {[=] {
                const Optional copied(*source);
                const Optional made(copied.GetValue());
                Optional assigned;
                assigned = made;
                *result = Optional().Emplace(assigned.GetValue());
            },
            [=] { return Describe(*result); }, [=] { return Describe(source->GetValue()); }};
}

SScene MakeLargePagesScene()
{
    // From this size on the system is asked for large pages.
    constexpr std::size_t c_count = std::size_t{4} << 20;
    const auto resized = std::make_shared<std::string>("resized");
    const auto reserved = std::make_shared<std::string>("reserved");
    return {[=] {
                Base::ReserveInLargePages(*reserved, c_count);
                Base::ResizeInLargePages(*resized, c_count);
            },
            [=] { return *resized + *reserved; }, [=] { return *resized + *reserved; }};
}

SScene MakeLoggerScene()
{
    const auto category = std::make_shared<const std::wstring>(MakeText());
    const auto logger = std::make_shared<std::optional<Logging::CLogger>>();
    return {[=] { logger->emplace(category->c_str()); },
            [=] { return std::string(logger->has_value() ? "logger" : "none"); },
            [=] { return Describe(*category); }};
}

/// One message of each level, to the sink of these tests.
SScene MakeMessageScene()
{
    const auto logger = std::make_shared<const Logging::CLogger>(L"Veko2.Category");
    const auto text = std::make_shared<const std::wstring>(MakeText());
    return {[=] {
                logger->Debug("file", 1, "function", L"%ls", text->c_str());
                logger->Info("file", 2, "function", L"%ls %d", text->c_str(), 5);
                logger->Warn("file", 3, "function", text->c_str());
            },
            DescribeNothing, [=] { return Describe(*text); }};
}

/// Sinks that only count, so that nothing of theirs outlives a scene.
int g_numOldSinkCalls = 0;
int g_numNewSinkCalls = 0;

/// Which sink a message reaches now.
std::string DescribeSink()
{
    g_numOldSinkCalls = 0;
    g_numNewSinkCalls = 0;
    Logging::CLogger(L"Veko2.Category").Warn("file", 1, "function", L"text");
    return std::to_string(g_numOldSinkCalls) + " old, " + std::to_string(g_numNewSinkCalls) +
           " new";
}

SScene MakeSinkScene()
{
    Logging::SetLogSink([](const Logging::SLogRecord&) { ++g_numOldSinkCalls; });
    return {[] { Logging::SetLogSink([](const Logging::SLogRecord&) { ++g_numNewSinkCalls; }); },
            DescribeSink, DescribeSink};
}

/// What is written to the standard error goes to \p file while it lives.
class CStandardErrorToFile
{
public:
    explicit CStandardErrorToFile(std::FILE* file) : m_standardError(dup(STDERR_FILENO))
    {
        dup2(fileno(file), STDERR_FILENO);
    }
    ~CStandardErrorToFile()
    {
        dup2(m_standardError, STDERR_FILENO);
        close(m_standardError);
    }
    CStandardErrorToFile(const CStandardErrorToFile&) = delete;
    CStandardErrorToFile& operator=(const CStandardErrorToFile&) = delete;

private:
    int m_standardError;
};

SScene MakeStandardErrorScene()
{
    Logging::SetLogSink({});
    const auto logger = std::make_shared<const Logging::CLogger>(L"Veko2.Category");
    const std::shared_ptr<std::FILE> file(std::tmpfile(), std::fclose);
    const auto describeFile = [=] {
        std::rewind(file.get());
        char text[100];
        return std::string(text, std::fread(text, 1, sizeof text, file.get()));
    };
    return {[=] {
                const CStandardErrorToFile standardError(file.get());
                logger->Warn("file", 1, "function", L"a text that needs memory of its own");
            },
            describeFile, describeFile};
}

}  // namespace

std::vector<SNamedScene> MakeSupportScenes()
{
    std::vector<SNamedScene> scenes{
        {"LogMessage", MakeMessageScene, EHelpers::GivenObjects},
        {"LogMessageToStandardError", MakeStandardErrorScene, EHelpers::Nobody},
        {"LogSink", MakeSinkScene, EHelpers::Nobody},
        {"Logger", MakeLoggerScene, EHelpers::Nobody},
        {"Exception", MakeExceptionScene<LqException>, EHelpers::Nobody},
        {"PreconditionException", MakeExceptionScene<VekoException>, EHelpers::Nobody},
        {"Optional", MakeOptionalScene, EHelpers::Nobody},
        {"LargePages", MakeLargePagesScene, EHelpers::Nobody}};
    AddComplaintScenes(scenes);
    return scenes;
}

}  // namespace TestSupport
