#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Interfaces/ISurfelCollection.h"
#include "Base/Interfaces/SRegionSelectionInfo.h"
#include "Base/Math/LqMatrix4R.h"
#include "Base/Math/LqVector3f.h"
#include "Tests/Oracle/CCaseRandom.h"
#include "Tests/Oracle/CNamedArrays.h"

// What several kinds of cases consist of: painted regions, surfel collections and flag words. Each
// is appended to the file's arrays and then known by its index there.

namespace Oracle
{

void DeclareSelections(CNamedArrays& cases);

/// A painted region.
void AppendSelection(CCaseRandom& random, CNamedArrays& cases);

[[nodiscard]] std::shared_ptr<const Base::SRegionSelectionInfo> MakeSelection(
    const CNamedArrays& cases, std::size_t index);

void DeclareCollections(CNamedArrays& cases);

/// How many surfels a collection has: mostly around a hundred, seldom many thousands.
[[nodiscard]] std::uint32_t SurfelCount(CCaseRandom& random);

/// How the points of a collection follow each other.
enum class EOrder
{
    Any,     ///< one beside the other on the screen, or anywhere
    AsScan,  ///< one beside the other on the screen, so that long runs share their fate
};

/// Points around the borders of the pixels and of the 32-bit integers when \p trafo and the view of
/// selection \p selection carry them to the screen.
[[nodiscard]] std::vector<LqVector3f> ScreenPoints(CCaseRandom& random, const CNamedArrays& cases,
                                                   std::size_t selection, const LqMatrix4Rd& trafo,
                                                   std::uint32_t count, EOrder order = EOrder::Any);

/// A collection of \p points in some layout. Unless they stand as in a scan, its bounding box is
/// now and then another one than that of its points. \p mayLackPositions lets it, now and then,
/// have no accessor to them.
/// @return its index
std::uint32_t AppendCollection(CCaseRandom& random, CNamedArrays& cases,
                               std::vector<LqVector3f> points, bool mayLackPositions,
                               EOrder order = EOrder::Any);

[[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> MakeCollection(
    const CNamedArrays& cases, std::size_t index);

void DeclareWords(CNamedArrays& cases);

/// Flag words for \p count surfels: none, one each, or seldom another number.
/// @return their index
std::uint32_t AppendWords(CCaseRandom& random, CNamedArrays& cases, std::size_t count);

void AppendMatrix(CNamedArrays& cases, const std::string& name, const LqMatrix4Rd& matrix);
void AppendMatrix(CNamedArrays& cases, const std::string& name, const LqMatrix4Rf& matrix);
void AppendPoint(CNamedArrays& cases, const std::string& name, const LqVector3f& point);

/// Matrix \p index of an array of matrices.
[[nodiscard]] LqMatrix4Rd GetMatrix(const CNamedArrays& cases, const std::string& name,
                                    std::size_t index);
[[nodiscard]] LqMatrix4Rf GetFloatMatrix(const CNamedArrays& cases, const std::string& name,
                                         std::size_t index);

/// The points of a list of points.
[[nodiscard]] std::vector<LqVector3f> GetPoints(const CNamedArrays& cases, const std::string& name,
                                                const std::string& offsets, std::size_t index);

}  // namespace Oracle
