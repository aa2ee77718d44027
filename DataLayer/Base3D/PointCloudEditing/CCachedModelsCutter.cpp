#include "DataLayer/Base3D/PointCloudEditing/CCachedModelsCutter.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

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

/// One surfel per vertex, in the order of the vertices.
Surfels makeSurfels(const Geometry::CTriangulation& triangulation)
{
    return CMeshToSurfels(0.1F, false).CreateMinimal(triangulation);
}

/// Leaves one entry in \p results: whether \p selection cuts a surfel, and per surfel a word that
/// is not 0 where it does.
void classify(const Surfels& surfels, const LqMatrix4Rd& matrix, const RegionSelection& selection,
              CCutPointCloudWithPixelMask::Results& results)
{
    const std::vector<CCutPointCloudWithPixelMask::SInputData> inputs{{surfels, {}, matrix}};
    CCutPointCloudWithPixelMask(selection).Compute(inputs, results);
}

/// The model without what \p copyMask leaves out. A model with both geometries is cut as a mesh.
std::shared_ptr<CCachedModel> makeCutModel(const CCachedModel& model, const Surfels& surfels,
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
        surfels = makeSurfels(*triangulation);
    }

    CCutPointCloudWithPixelMask::Results results;
    classify(surfels, model->GetMatrix(), regionSelection, results);
    const auto& [hasChanged, words] = results.front();
    if (!hasChanged)
    {
        return model;
    }
    std::vector<bool> copyMask(words.size(), false);
    // The number of surfels, not of hits: that is what readers of the log expect.
    VEKO2_LOG(c_logger, Info, c_file, 97, c_applyFunction, L"Output (matched) data: %d ",
              static_cast<int>(words.size()));
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        if (words[index].bits == 0)
        {
            copyMask[index] = true;
        }
    }
    if (surfels->GetCount() != copyMask.size())
    {
        ThrowVekoException(c_file, 105, c_applyFunction, L"Invalid copy mask vector size!");
    }
    return makeCutModel(*model, surfels, copyMask);
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
        surfels = makeSurfels(*triangulation);
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
        classify(surfels, model->GetMatrix(), selection, results);
        const auto& [hasChanged, words] = results.front();
        if (!hasChanged)
        {
            continue;
        }
        hasCut = true;
        const std::size_t numEntries = std::min(words.size(), copyMask.size());
        for (std::size_t index = 0; index < numEntries; ++index)
        {
            if (words[index].bits != 0)
            {
                copyMask[index] = false;
            }
        }
    }
    return hasCut ? makeCutModel(*model, surfels, copyMask) : model;
}

}  // namespace DataLayer
