#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"

#include <cstddef>
#include <cstdint>
#include <limits>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Support/CLogger.h"
#include "Base/Support/VekoException.h"
#include "DataLayer/Base3D/CMeshToSurfels.h"
#include "DataLayer/Base3D/CMorvaneMeshCutter.h"
#include "DataLayer/Base3D/CTriangulation.h"
#include "DataLayer/Base3D/PointCloudEditing/CCutPointCloudWithPixelMask.h"
#include "DataLayer/Base3D/PointCloudEditing/CheckedCount.h"
#include "DataLayer/Base3D/PointCloudEditing/LogMessage.h"
#include "DataLayer/DataContainer/CCachedModel.h"
#include "DataLayer/PointCloud/BoolWords.h"
#include "DataLayer/PointCloud/GatherMarked.h"
#include "DataLayer/PointCloud/SurfelBlocks.h"

namespace DataLayer
{

namespace
{

using Surfels = std::shared_ptr<const Base::ISurfelCollection>;
using RegionSelection = std::shared_ptr<const Base::SRegionSelectionInfo>;

const Logging::CLogger c_logger(L"Veko2.CCachedModelsCutter");

// The places that errors and messages name are part of what they say.
constexpr const char* c_file = "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter";
constexpr const char* c_applyFunction = "DataLayer::CCachedModelsCutter::Apply";

/// Leaves one entry in \p results: whether \p selection cuts a surfel, and per surfel a word that
/// is not 0 where it does.
void Classify(const Surfels& surfels, const LqMatrix4Rd& matrix, const RegionSelection& selection,
              CCutPointCloudWithPixelMask::Results& results)
{
    const std::vector<CCutPointCloudWithPixelMask::SInputData> inputs{{surfels, {}, matrix}};
    CCutPointCloudWithPixelMask(selection).Compute(inputs, results);
}

/// Clears the entries of \p copyMask whose word is not 0. Words and entries that have no partner
/// are left out.
void DropCut(const std::vector<Base::CSurfelBitMask>& words, std::vector<bool>& copyMask)
{
    constexpr Base::CSurfelBitMask c_anyBit{std::numeric_limits<std::uint16_t>::max()};
    ForEachSurfelBlock(copyMask.size(), [&](std::uint64_t begin, std::uint64_t end) {
        for (std::size_t group = begin / c_boolsPerWord; group != CountBoolWords(end); ++group)
        {
            if (const std::uint64_t cut = GatherMarked(words, c_anyBit, group))
            {
                StoreBools(copyMask, group, LoadBools(copyMask, group) & ~cut);
            }
        }
    });
}

/// The model without what \p copyMask leaves out. A model with both geometries is cut as a mesh.
std::shared_ptr<CCachedModel> MakeCutModel(const CCachedModel& model, const Surfels& surfels,
                                           std::vector<bool>& copyMask)
{
    if (const auto triangulation = model.GetTriangulation())
    {
        const std::shared_ptr<const Geometry::CTriangulation> kept =
            CMorvaneMeshCutter::CopyWihMask(*triangulation, copyMask);
        return std::make_shared<CCachedModel>(c_matIdentityD, kept, model.GetUniqueId());
    }
    const Surfels kept =
        surfels->GetSubsetCopyByMask(copyMask, Base::ISurfelCollection::MaskMode::Keep);
    return std::make_shared<CCachedModel>(c_matIdentityD, kept, model.GetUniqueId());
}

}  // namespace

CCachedModelsCutter::CCachedModelsCutter(std::shared_ptr<CCachedModel> model) : m_model(model) {}

CCachedModelsCutter::CCachedModelsCutter(const CCachedModelsCutter&) = default;
CCachedModelsCutter& CCachedModelsCutter::operator=(const CCachedModelsCutter&) = default;
CCachedModelsCutter::~CCachedModelsCutter() = default;

std::shared_ptr<CCachedModel> CCachedModelsCutter::Apply(
    std::shared_ptr<const Base::SRegionSelectionInfo> regionSelection) const
{
    const std::shared_ptr<CCachedModel> model = m_model.lock();
    if (model == nullptr)
    {
        ThrowVekoException(c_file, 51, c_applyFunction, L"Invalid cached model");
    }
    Surfels surfels = model->GetSurfelCollection();
    if (surfels == nullptr)
    {
        if (model->GetTriangulation() == nullptr)
        {
            model->SetTriangulation(model->BuildCTriangulation());
        }
        const auto triangulation = model->GetTriangulation();
        if (triangulation == nullptr)
        {
            ThrowVekoException(
                c_file, 77, c_applyFunction,
                L"Encountered empty cached model while applying regionselectioninfo!");
        }
        surfels = CMeshToSurfels::ViewVertices(triangulation);
    }

    CCutPointCloudWithPixelMask::Results results;
    Classify(surfels, model->GetMatrix(), regionSelection, results);
    const auto& [hasChanged, words] = results.front();
    if (!hasChanged)
    {
        return model;
    }
    std::vector<bool> copyMask(words.size(), true);
    // The number of surfels, not of hits: that is what readers of the log expect.
    VEKO2_LOG(c_logger, Info, c_file, 97, c_applyFunction, L"Output (matched) data: %d ",
              static_cast<int>(words.size()));
    DropCut(words, copyMask);
    if (surfels->GetCount() != copyMask.size())
    {
        ThrowVekoException(c_file, 105, c_applyFunction, L"Invalid copy mask vector size!");
    }
    results.clear();  // Not needed beside the copy, the largest array of all.
    return MakeCutModel(*model, surfels, copyMask);
}

std::shared_ptr<CCachedModel> CCachedModelsCutter::Apply(
    std::vector<std::shared_ptr<const Base::SRegionSelectionInfo>>& regionSelections) const
{
    const std::shared_ptr<CCachedModel> model = m_model.lock();
    if (model == nullptr)
    {
        ThrowVekoException(c_file, 126, c_applyFunction, L"Invalid cached model");
    }
    Surfels surfels;
    if (const auto triangulation = model->GetTriangulation())
    {
        surfels = CMeshToSurfels::ViewVertices(triangulation);
    }
    else
    {
        surfels = model->GetSurfelCollection();
    }
    if (surfels == nullptr)
    {
        VEKO2_LOG(c_logger, Warn, c_file, 145, c_applyFunction,
                  L"Encountered empty cached model while applying regionselectioninfo.");
        return model;
    }

    std::vector<bool> copyMask(CheckedCount(surfels->GetCount()), true);
    bool hasCut = false;
    CCutPointCloudWithPixelMask::Results results;
    for (const RegionSelection& selection : regionSelections)
    {
        Classify(surfels, model->GetMatrix(), selection, results);
        const auto& [hasChanged, words] = results.front();
        if (hasChanged)
        {
            DropCut(words, copyMask);
            hasCut = true;
        }
    }
    results.clear();
    return hasCut ? MakeCutModel(*model, surfels, copyMask) : model;
}

}  // namespace DataLayer
