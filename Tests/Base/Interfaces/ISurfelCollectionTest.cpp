#include "Base/Interfaces/ISurfelCollection.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "Base/Interfaces/IPointCloudSupport.h"
#include "Base/Support/VekoException.h"
#include "Tests/Base/Interfaces/Plugin/AccessorPlugin.h"
#include "Tests/Base/Support/VirtualSlot.h"
#include "Tests/Support/CMockSurfelCollection.h"
#include "Tests/Support/ExpectMissingAccessor.h"

namespace
{

using Base::AElementAccessBase;
using Base::CSCElementDefinitionNormal;
using Base::CSCElementDefinitionPosition;
using Base::ISurfelCollection;
using Base::TElementAccessRead;
using TestSupport::CMockSurfelCollection;
using TestSupport::VirtualSlot;

/// An element definition of the application's own.
struct CTemperatureDefinition
{};

void ExpectNoPositions(const ISurfelCollection& collection)
{
    TestSupport::ExpectMissingAccessor(
        [&] { static_cast<void>(collection.GetReadAccessor<CSCElementDefinitionPosition>()); });
}

TEST(ISurfelCollection, GetReadAccessor_ReadsThePositions)
{
    const CMockSurfelCollection collection({{1, 2, 3}, {4, 5, 6}}, 20, 4);
    const auto& access = collection.GetReadAccessor<CSCElementDefinitionPosition>();
    EXPECT_EQ(access.GetStrideInBytes(), 20U);
    EXPECT_EQ(access.At(1), (LqVector3f{4, 5, 6}));
}

TEST(ISurfelCollection, GetReadAccessor_MissingOneIsAnError)
{
    CMockSurfelCollection collection({{1, 2, 3}});
    collection.SetPositionAccess(nullptr);
    ExpectNoPositions(collection);
}

TEST(ISurfelCollection, GetReadAccessor_OneOfAnotherKindIsAnError)
{
    CMockSurfelCollection collection({{1, 2, 3}});
    collection.SetPositionAccess(
        std::make_unique<TElementAccessRead<CSCElementDefinitionNormal>>());
    ExpectNoPositions(collection);
}

TEST(ISurfelCollection, GetReadAccessor_UnknownDefinitionIsAnError)
{
    const CMockSurfelCollection collection({{1, 2, 3}});
    EXPECT_THROW(static_cast<void>(collection.GetReadAccessor<CTemperatureDefinition>()),
                 VekoException);
}

TEST(ISurfelCollection, GetPositions_IsTheReadAccessor)
{
    const CMockSurfelCollection collection({{1, 2, 3}});
    EXPECT_EQ(&collection.GetPositions(),
              &collection.GetReadAccessor<CSCElementDefinitionPosition>());
}

TEST(ISurfelCollection, GetNormals_WithoutNormalsIsAnError)
{
    const CMockSurfelCollection collection({{1, 2, 3}});
    EXPECT_THROW(static_cast<void>(collection.GetNormals()), VekoException);
}

TEST(ISurfelCollection, GetExplicitCovarianceEllipsoid_IsNotKeptByDefault)
{
    const CMockSurfelCollection collection({{1, 2, 3}});
    Base::CCovarianceEllipsoid ellipsoid;
    EXPECT_FALSE(collection.GetExplicitCovarianceEllipsoid(ellipsoid));
}

TEST(ISurfelCollection, Modes_HaveTheirValues)
{
    EXPECT_EQ(static_cast<int>(ISurfelCollection::MaskMode::Drop), 0);
    EXPECT_EQ(static_cast<int>(ISurfelCollection::MaskMode::Keep), 1);
    EXPECT_EQ(static_cast<int>(ISurfelCollection::SubsetMode::Drop), 0);
    EXPECT_EQ(static_cast<int>(ISurfelCollection::SubsetMode::Keep), 1);
}

TEST(TElementAccessRead, Stride_OfZeroGivesEverySurfelTheOneElement)
{
    const LqVector3f element{7, 8, 9};
    const TElementAccessRead<CSCElementDefinitionPosition> access(&element, 0);
    EXPECT_EQ(access.At(0), element);
    EXPECT_EQ(access.At(1'000'000'000'000), element);
}

TEST(TElementAccessRead, Elements_NeedNoAlignment)
{
    unsigned char bytes[64] = {};
    const LqVector3f elements[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    for (std::size_t index = 0; index < 3; ++index)
    {
        std::memcpy(bytes + 1 + 13 * index, &elements[index], sizeof elements[index]);
    }
    const TElementAccessRead<CSCElementDefinitionPosition> access(bytes + 1, 13);
    for (std::size_t index = 0; index < 3; ++index)
    {
        EXPECT_EQ(access.At(index), elements[index]);
    }
}

TEST(TElementAccessRead, Decoder_MakesTheElement)
{
    const unsigned char codes[] = {1, 2, 3};
    const TElementAccessRead<CSCElementDefinitionNormal> access(codes, 1, [](const void* element) {
        return LqVector3f{static_cast<float>(*static_cast<const unsigned char*>(element)), 0, 0};
    });
    EXPECT_EQ(access.At(2), (LqVector3f{3, 0, 0}));
}

TEST(TElementAccessRead, Layout_IsAddressStrideAndTwoWordsBehindTheTable)
{
    using Access = TElementAccessRead<CSCElementDefinitionPosition>;
    EXPECT_EQ(sizeof(Access), 5 * sizeof(void*));
    const LqVector3f element{};
    const Access access(&element, 24);
    std::uintptr_t words[5];
    static_assert(sizeof words == sizeof access);
    std::memcpy(words, static_cast<const void*>(&access), sizeof words);
    EXPECT_EQ(words[1], reinterpret_cast<std::uintptr_t>(&element));
    EXPECT_EQ(words[2], 24U);
    EXPECT_EQ(words[3], 0U);
    EXPECT_EQ(words[4], 0U);
}

/// Names the protected operations.
class CSlots : public CMockSurfelCollection
{
public:
    static int GetElementAccess()
    {
        using Operation = AElementAccessBase* (CSlots::*)(const std::type_index&);
        return VirtualSlot(static_cast<Operation>(&CSlots::getElementAccess));
    }
    static int GetElementAccessConst()
    {
        using Operation = const AElementAccessBase* (CSlots::*)(const std::type_index&) const;
        return VirtualSlot(static_cast<Operation>(&CSlots::getElementAccess));
    }
};

TEST(ISurfelCollection, VirtualOperations_KeepTheirSlots)
{
    using Copy = std::shared_ptr<ISurfelCollection>;
    using ByWords =
        Copy (ISurfelCollection::*)(const std::vector<Base::CSurfelBitMask>&, Base::CSurfelBitMask,
                                    ISurfelCollection::MaskMode) const;
    using ByBools =
        Copy (ISurfelCollection::*)(const std::vector<bool>&, ISurfelCollection::MaskMode) const;
    using Write = void (ISurfelCollection::*)(Base::IVekoStreamWrite&) const;
    using Read = void (ISurfelCollection::*)(Base::IVekoStreamRead&);
    // The destructor takes the slots 0 and 1.
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetRTTI), 2);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetClassNameW), 3);
    EXPECT_EQ(VirtualSlot(static_cast<Write>(&ISurfelCollection::Serialize)), 4);
    EXPECT_EQ(VirtualSlot(static_cast<Read>(&ISurfelCollection::Serialize)), 5);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetPointCloudSupport), 6);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetSubsetCopyByIndex), 7);
    EXPECT_EQ(VirtualSlot(static_cast<ByWords>(&ISurfelCollection::GetSubsetCopyByMask)), 8);
    EXPECT_EQ(VirtualSlot(static_cast<ByBools>(&ISurfelCollection::GetSubsetCopyByMask)), 9);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::CloneFromCollection), 10);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::Clone), 11);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::Append), 12);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::ScatterCopy), 13);
    EXPECT_EQ(CSlots::GetElementAccess(), 14);
    EXPECT_EQ(CSlots::GetElementAccessConst(), 15);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetExplicitCovarianceEllipsoid), 16);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetPositions), 17);
    EXPECT_EQ(VirtualSlot(&ISurfelCollection::GetNormals), 18);
}

TEST(ISurfelCollectionElementAccess, VirtualOperations_KeepTheirSlots)
{
    using Access = ScanAPI::ISurfelCollectionElementAccess;
    EXPECT_EQ(VirtualSlot(&Access::GetCount), 2);
    EXPECT_EQ(VirtualSlot(&Access::HasPositions), 3);
    EXPECT_EQ(VirtualSlot(&Access::GetAllPositions), 4);
    EXPECT_EQ(VirtualSlot(&Access::HasNormals), 5);
    EXPECT_EQ(VirtualSlot(&Access::GetAllNormals), 6);
}

TEST(ISurfelCollection, Layout_HasElementAccessAsItsSecondBase)
{
    const CMockSurfelCollection collection;
    const auto address = [](const auto* part) { return reinterpret_cast<std::uintptr_t>(part); };
    const auto* const asCollection = static_cast<const ISurfelCollection*>(&collection);
    const auto* const asAccess =
        static_cast<const ScanAPI::ISurfelCollectionElementAccess*>(&collection);
    EXPECT_EQ(address(asCollection), address(&collection));
    EXPECT_EQ(address(static_cast<const Base::IVekoSerializable*>(&collection)),
              address(&collection));
    EXPECT_EQ(address(asAccess), address(&collection) + sizeof(void*));
}

TEST(IPointCloudSupport, VirtualOperations_KeepTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&INearestNeighborSearch::FindNearestNeighbor), 2);
    EXPECT_EQ(VirtualSlot(&Base::IPointCloudSupport::GetNearestNeighborSearch), 2);
    EXPECT_EQ(VirtualSlot(&Base::IPointCloudSupport::GetBoundingBox), 3);
}

TEST(VekoException, VirtualOperations_KeepTheirSlots)
{
    EXPECT_EQ(VirtualSlot(&IException::Clone), 2);
    EXPECT_EQ(VirtualSlot(&IException::GetFilename), 3);
    EXPECT_EQ(VirtualSlot(&IException::GetCodeLine), 4);
    EXPECT_EQ(VirtualSlot(&IException::GetFunctionName), 5);
    EXPECT_EQ(VirtualSlot(&IException::GetThreadID), 6);
    EXPECT_EQ(VirtualSlot(&IObject::GetRTTI), 2);
    EXPECT_EQ(VirtualSlot(&IObject::GetClassNameW), 3);
    EXPECT_EQ(VirtualSlot(&std::exception::what), 2);
}

/// A library that shares no symbol with the program, as an application's own may be loaded.
class PluginTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(m_library, nullptr) << dlerror(); }
    ~PluginTest() override
    {
        if (m_library != nullptr)
        {
            dlclose(m_library);
        }
    }

    template <typename Function>
    Function* find(const char* name) const
    {
        return reinterpret_cast<Function*>(dlsym(m_library, name));
    }

private:
    void* const m_library = dlopen(VEKO2_ACCESSOR_PLUGIN, RTLD_NOW | RTLD_LOCAL);
};

TEST_F(PluginTest, GetReadAccessor_WorksOnACollectionOfTheProgram)
{
    const CMockSurfelCollection collection({{1.5F, 2, 3}});
    EXPECT_EQ(find<ReadFirstX>("PluginReadFirstX")(collection), 1.5F);
}

TEST_F(PluginTest, GetReadAccessor_WorksWithAnAccessorOfThePlugin)
{
    CMockSurfelCollection collection({{1, 2, 3}});
    const LqVector3f element{4, 5, 6};
    collection.SetPositionAccess(std::unique_ptr<AElementAccessBase>(
        find<MakePositionAccess>("PluginMakePositionAccess")(&element, 12)));
    EXPECT_EQ(collection.GetPositions().At(0), element);
    collection.SetPositionAccess(nullptr);
}

TEST_F(PluginTest, GetReadAccessor_RefusesAForeignAccessorOfThePlugin)
{
    CMockSurfelCollection collection({{1, 2, 3}});
    collection.SetPositionAccess(
        std::unique_ptr<AElementAccessBase>(find<MakeForeignAccess>("PluginMakeForeignAccess")()));
    ExpectNoPositions(collection);
    collection.SetPositionAccess(nullptr);
}

TEST_F(PluginTest, Exception_ThrownByThePluginIsCaughtHere)
{
    try
    {
        find<ThrowFromPlugin>("PluginThrow")();
        FAIL() << "nothing was thrown";
    }
    catch (const VekoException& exception)
    {
        EXPECT_STREQ(exception.what(), "from the plugin");
    }
}

TEST_F(PluginTest, Exception_ThrownHereIsCaughtInThePlugin)
{
    EXPECT_TRUE(find<CatchInPlugin>("PluginCatch")(
        [] { ThrowVekoException("file", 1, "function", L"from the program"); }));
}

}  // namespace
