#include "Application/View/CView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>

#include "Application/Files/CInputError.h"
#include "Application/View/CCamera.h"
#include "Application/View/CMask.h"

namespace
{

using Application::CCamera;
using Application::CInputError;
using Application::CMask;
using Application::CView;
using Json = nlohmann::ordered_json;

CView MakeView()
{
    CCamera::SParameters parameters;
    parameters.eye = {1.1, -7.3, 2.7};
    parameters.target = {4512345.678901, 0.1, -1e-7};
    parameters.eye[0] += parameters.target[0];
    parameters.width = 64;
    parameters.height = 48;
    return CCamera(parameters).MakeView();
}

void ExpectFailure(const std::string& json, const std::string& message)
{
    try
    {
        static_cast<void>(CView::FromJson(json, "some/view.json"));
        FAIL() << "expected: " << message;
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(), testing::HasSubstr(message));
        EXPECT_THAT(error.what(), testing::StartsWith("some/view.json: "));
    }
}

void ExpectFailure(const std::function<void(Json&)>& damage, const std::string& message)
{
    Json document = Json::parse(MakeView().ToJson());
    damage(document);
    ExpectFailure(document.dump(), message);
}

TEST(CView, ToJson_ReadsBackExactly)
{
    const CView view = MakeView();
    EXPECT_EQ(CView::FromJson(view.ToJson(), "x"), view);
}

TEST(CView, ToJson_KeepsEveryBitOfAwkwardNumbers)
{
    CView::Transforms transforms = {c_matIdentityD, c_matIdentityD, c_matIdentityD};
    transforms[0](3, 0) = 0.1 + 0.2;
    transforms[0](3, 1) = -0.0;
    transforms[1](3, 2) = std::numeric_limits<double>::denorm_min();
    transforms[2](3, 1) = 1.0 / 3.0;
    const CView view(3, 2, {1e300, std::numeric_limits<double>::min(), -0.0}, transforms);
    const CView read = CView::FromJson(view.ToJson(), "x");
    EXPECT_EQ(std::memcmp(read.GetOrigin().data(), view.GetOrigin().data(), sizeof(CView::Origin)),
              0);
    EXPECT_EQ(std::memcmp(read.GetTransforms().data(), view.GetTransforms().data(),
                          sizeof(CView::Transforms)),
              0);
}

TEST(CView, FromJson_UnknownFieldIsIgnored)
{
    Json document = Json::parse(MakeView().ToJson());
    document["comment"] = "front";
    EXPECT_EQ(CView::FromJson(document.dump(), "x"), MakeView());
}

TEST(CView, FromJson_KnownFieldsAreFoundBehindManyOthers)
{
    std::string json = "{";
    for (int index = 0; index < 1000; ++index)
    {
        json += "\"field" + std::to_string(index) + "\": [{\"width\": [[1], {}]}, 2, {}],";
    }
    json += MakeView().ToJson().substr(1);
    EXPECT_EQ(CView::FromJson(json, "x"), MakeView());
}

TEST(CView, FromJson_FieldThatComesTwiceCountsAsItComesLast)
{
    const std::string json =
        "{\"width\": [1, 2], \"origin\": {\"a\": 1}," + MakeView().ToJson().substr(1);
    EXPECT_EQ(CView::FromJson(json, "x"), MakeView());
}

TEST(CView, FromJson_OfManyElementsNoMoreAreKeptThanShowASurplus)
{
    for (const std::size_t count : {17, 100000})
    {
        ExpectFailure([count](Json& d) { d["origin"] = std::vector<int>(count); },
                      "origin: expected an array of 3 numbers, found "
                      "[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]");
    }
}

TEST(CView, FromJson_WholeNumbersServeAsNumbers)
{
    Json document = Json::parse(MakeView().ToJson());
    document["origin"] = {1, -2, 3};
    EXPECT_EQ(CView::FromJson(document.dump(), "x").GetOrigin(), (CView::Origin{1, -2, 3}));
}

TEST(CView, FromJson_DamagedDocumentNamesTheByte)
{
    ExpectFailure("", "byte 1: expected a JSON document");
    ExpectFailure("{\"format\": ", "expected a JSON document");
    ExpectFailure(MakeView().ToJson() + "x", "expected a JSON document");
    ExpectFailure("\xFF\xFE\x00", "expected a JSON document");
}

TEST(CView, FromJson_EveryTruncationThrows)
{
    const std::string json = MakeView().ToJson();
    for (std::size_t length = 0; length + 2 < json.size(); ++length)
    {
        EXPECT_THROW(static_cast<void>(CView::FromJson(json.substr(0, length), "x")), CInputError);
    }
}

TEST(CView, FromJson_DeepNestingIsAnErrorAndNoCrash)
{
    ExpectFailure(std::string(100000, '['), "expected a JSON document");
    ExpectFailure(std::string(100000, '[') + std::string(100000, ']'), "expected an object");
}

TEST(CView, FromJson_DeepNestingInsideAFieldIsAnErrorAndNoCrash)
{
    const std::string deep = std::string(400000, '[') + std::string(400000, ']');
    ExpectFailure("{\"format\": " + deep + "}", "format: expected \"veko2-view\", found array");
    ExpectFailure("{\"format\": \"veko2-view\", \"version\": " + deep + "}",
                  "version: expected 1, found array");
}

TEST(CView, FromJson_LongTextInPlaceOfAValueIsShortenedInTheMessage)
{
    ExpectFailure([](Json& d) { d["format"] = std::string(100000, 'x'); },
                  "found \"" + std::string(59, 'x') + "...");
}

TEST(CView, FromJson_NotAnObjectThrows)
{
    ExpectFailure("[1, 2]", "document: expected an object, found [1,2]");
    ExpectFailure("null", "found null");
}

TEST(CView, FromJson_EveryMissingFieldIsNamed)
{
    for (const char* field : {"format", "version", "width", "height", "origin", "transform1",
                              "transform2", "transform3"})
    {
        ExpectFailure([&](Json& document) { document.erase(field); },
                      std::string(field) + ": the field is missing");
    }
}

TEST(CView, FromJson_OtherFormatOrVersionThrows)
{
    ExpectFailure([](Json& d) { d["format"] = "other"; },
                  "format: expected \"veko2-view\", found \"other\"");
    ExpectFailure([](Json& d) { d["format"] = 3; }, "format: expected \"veko2-view\", found 3");
    ExpectFailure([](Json& d) { d["version"] = 2; }, "version: expected 1, found 2");
    ExpectFailure([](Json& d) { d["version"] = "1"; }, "version: expected 1, found \"1\"");
}

TEST(CView, FromJson_BadSizesAreNamed)
{
    for (const char* field : {"width", "height"})
    {
        const std::string name(field);
        ExpectFailure([&](Json& d) { d[field] = 0; },
                      name + ": expected 1 to 16384 pixels, found 0");
        ExpectFailure([&](Json& d) { d[field] = 16385; }, name + ": expected 1 to 16384");
        ExpectFailure([&](Json& d) { d[field] = std::numeric_limits<std::uint64_t>::max(); },
                      name + ": expected 1 to 16384");
        ExpectFailure([&](Json& d) { d[field] = -5; },
                      name + ": expected a whole number, not negative, found -5");
        ExpectFailure([&](Json& d) { d[field] = 64.5; },
                      name + ": expected a whole number, not negative, found 64.5");
        ExpectFailure([&](Json& d) { d[field] = "64"; },
                      name + ": expected a whole number, not negative, found \"64\"");
    }
}

TEST(CView, FromJson_BadNumberArraysAreNamed)
{
    for (const char* field : {"origin", "transform1", "transform2", "transform3"})
    {
        const std::string name(field);
        ExpectFailure([&](Json& d) { d[field].push_back(1); }, name + ": expected an array of");
        ExpectFailure([&](Json& d) { d[field].erase(0); }, name + ": expected an array of");
        ExpectFailure([&](Json& d) { d[field] = 1; }, "numbers, found 1");
        ExpectFailure([&](Json& d) { d[field][2] = "0"; },
                      name + "[2]: expected a number, found \"0\"");
        ExpectFailure([&](Json& d) { d[field][1] = nullptr; },
                      name + "[1]: expected a number, found null");
    }
}

TEST(CView, FromJson_NumberBeyondDoubleThrows)
{
    std::string json = Json::parse(MakeView().ToJson()).dump();
    const std::string field = "\"origin\":[";
    const std::size_t first = json.find(field) + field.size();
    json.replace(first, json.find(',', first) - first, "1e999");
    EXPECT_THROW(static_cast<void>(CView::FromJson(json, "x")), CInputError);
}

TEST(CView, FromJson_TransformBeyondFloatThrows)
{
    ExpectFailure([](Json& d) { d["transform2"][0] = 1e39; },
                  "transform2: expected numbers that are finite as floats");
}

TEST(CView, FromJson_SingularTransformIsNamed)
{
    for (const char* field : {"transform1", "transform2", "transform3"})
    {
        ExpectFailure([&](Json& d) { d[field] = std::vector<double>(16, 0.0); },
                      std::string(field) + ": expected a matrix with an inverse");
        ExpectFailure([&](Json& d) { d[field] = std::vector<double>(16, 1.0); },
                      std::string(field) + ": expected a matrix with an inverse");
        std::vector<double> numbers(16);
        for (std::size_t index = 0; index < 16; ++index)
        {
            numbers[index] = static_cast<double>(index) / 3.0;
        }
        ExpectFailure([&](Json& d) { d[field] = numbers; },
                      std::string(field) + ": expected a matrix with an inverse");
    }
}

TEST(CView, Construct_ExtremeButRegularProjectionIsAccepted)
{
    CCamera::SParameters parameters;
    parameters.nearDistance = 1e-6;
    parameters.farDistance = 1e7;
    parameters.fieldOfView = 1;
    EXPECT_NO_THROW(static_cast<void>(CCamera(parameters).MakeView()));
}

TEST(CView, Construct_NonFiniteNumbersThrow)
{
    const CView::Transforms identities = {c_matIdentityD, c_matIdentityD, c_matIdentityD};
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(CView(2, 2, {0, nan, 0}, identities), CInputError);
    EXPECT_THROW(CView(2, 2, {0, 0, 0}, {c_matIdentityD, c_matInvalidD, c_matIdentityD}),
                 CInputError);
}

TEST(CView, Read_MissingFileThrows)
{
    EXPECT_THROW(static_cast<void>(CView::Read("/nonexistent/view.json")), CInputError);
}

TEST(CView, Read_DirectoryThrows)
{
    try
    {
        static_cast<void>(CView::Read(std::filesystem::temp_directory_path()));
        FAIL();
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(), testing::HasSubstr("found a directory"));
    }
}

TEST(CView, MakeRelativeTrafo_SubtractsTheOriginAfterTheTransform)
{
    const CView::Transforms identities = {c_matIdentityD, c_matIdentityD, c_matIdentityD};
    const CView view(2, 2, {10, 20, 30}, identities);
    LqMatrix4Rd trafo;
    trafo(0, 1) = 2;
    trafo(1, 0) = 2;
    trafo(2, 2) = 2;
    trafo(3, 0) = 11;
    trafo(3, 1) = 22;
    trafo(3, 2) = 33;
    trafo(3, 3) = 1;
    LqMatrix4Rd expected = trafo;
    expected(3, 0) = 1;
    expected(3, 1) = 2;
    expected(3, 2) = 3;
    EXPECT_EQ(view.MakeRelativeTrafo(trafo), expected);
}

TEST(CView, MakeSelection_CarriesSizeMatricesAndMask)
{
    const CView view = MakeView();
    CMask mask(64, 48);
    mask.PaintSpan(2, 5, 7);
    const auto selection = view.MakeSelection(mask);
    EXPECT_EQ(selection->maskWidth, 64U);
    EXPECT_EQ(selection->maskHeight, 48U);
    EXPECT_EQ(selection->transform1, LqMatrix4Rf(view.GetTransforms()[0]));
    EXPECT_EQ(selection->transform2, LqMatrix4Rf(view.GetTransforms()[1]));
    EXPECT_EQ(selection->transform3, LqMatrix4Rf(view.GetTransforms()[2]));
    EXPECT_EQ(selection->maskData[2 * 64 + 4], 0);
    EXPECT_EQ(selection->maskData[2 * 64 + 5], 1);
    EXPECT_EQ(selection->maskData[2 * 64 + 6], 1);
    EXPECT_EQ(selection->maskData[2 * 64 + 7], 0);
}

TEST(CView, MakeSelection_MaskOfAnotherSizeThrowsWithBothSizes)
{
    try
    {
        static_cast<void>(MakeView().MakeSelection(CMask(48, 64)));
        FAIL();
    }
    catch (const CInputError& error)
    {
        EXPECT_THAT(error.what(), testing::HasSubstr("64 x 48"));
        EXPECT_THAT(error.what(), testing::HasSubstr("48 x 64"));
    }
}

}  // namespace
