// The small-component operation over one entity: a scan of a surface, of bits that float above it
// and, one surfel in twenty, of nothing that was fused. Once from the fused points to the answer,
// beside the peers' build and queries, and once again with an operation that has seen the scan
// before, beside a loop that only moves the bytes. A pass runs on one thread in any case.

#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Base/Interfaces/CGeometricEntityPacket.h"
#include "Base/Interfaces/SyncableEntityMap.h"
#include "Benchmarks/BenchmarkProgram.h"
#include "Benchmarks/MovedBytes.h"
#include "Benchmarks/Peers/Peers.h"
#include "DataLayer/Base3D/PointCloudEditing/CSmallComponentModifyOperation.h"
#include "DataLayer/Base3D/PointCloudEditing/SFuserContent.h"
#include "DataLayer/PointCloud/CSurfelCollectionView.h"

namespace
{

using DataLayer::SFuserContent;
using DataLayer::SFuserPointBlock;
using DataLayer::SFuserPointRecord;
using Operation = DataLayer::CSmallComponentModifyOperation;
using Words = std::vector<Base::CSurfelBitMask>;

constexpr float c_bound = 2.25F;
constexpr std::size_t c_stride = 16;
/// Bits float this far apart.
constexpr float c_bitPitch = 25.0F;

/// One scanned entity that the fuser knows.
class CEntity : public Base::IGeometricEntity
{
public:
    explicit CEntity(std::shared_ptr<const Base::ISurfelCollection> collection)
        : m_collection(std::move(collection))
    {}

    [[nodiscard]] std::shared_ptr<const Base::ISurfelCollection> GetSurfelCollection(
        bool /*forEditing*/) const override
    {
        return m_collection;
    }
    [[nodiscard]] const Base::CEntityID& GetID() const override { return m_id; }
    [[nodiscard]] std::shared_ptr<Base::IVekoSerializable> FindTag(
        const std::string& /*interfaceName*/) const override
    {
        return nullptr;
    }

private:
    Base::CEntityID m_id{std::array<std::uint8_t, 16>{1}};
    std::shared_ptr<const Base::ISurfelCollection> m_collection;
};

/// A rolling landscape.
float HeightAt(float x, float y)
{
    return 20.0F * std::sin(x / 50.0F) * std::cos(y / 70.0F) +
           4.0F * std::sin(x / 9.0F + y / 31.0F);
}

/// A square of the landscape and what floats above it: fused points about 1 apart, and surfels of
/// the same square row by row.
class CScene
{
public:
    CScene(std::size_t numPoints, std::size_t numSurfels)
        : m_side(std::sqrt(static_cast<float>(numPoints)))
    {
        m_columns = static_cast<std::size_t>(std::ceil(m_side));
        for (std::size_t index = 0; index < numPoints; ++index)
        {
            const float x = static_cast<float>(index % m_columns) + offset(0.35F);
            const float y = static_cast<float>(index / m_columns) + offset(0.35F);
            addPoint(m_mainRecords, {x, y, HeightAt(x, y) + 0.3F * offset(0.35F)});
        }
        for (float y = 0.5F * c_bitPitch; y < m_side; y += c_bitPitch)
        {
            for (float x = 0.5F * c_bitPitch; x < m_side; x += c_bitPitch)
            {
                for (int point = 0; point < 10; ++point)
                {
                    addPoint(m_smallRecords,
                             {x + offset(1), y + offset(1), heightOfBit(x, y) + offset(1)});
                }
            }
        }
        makeSurfels(numSurfels);
        makeContent();
    }

    [[nodiscard]] const std::vector<LqVector3f>& GetPoints() const { return m_points; }
    [[nodiscard]] std::size_t GetNumMainPoints() const { return m_mainRecords.size(); }
    [[nodiscard]] const std::vector<std::byte>& GetPositions() const { return m_positions; }
    [[nodiscard]] const std::shared_ptr<const SFuserContent>& GetContent() const
    {
        return m_content;
    }
    [[nodiscard]] Base::CEntityMapSyncBatch MakeBatch(const Words& words) const
    {
        Base::CEntityMapSyncEntry entry{Base::CUniqueID::Nil(), {}};
        Base::CEntityMapValue value;
        value.trafo = c_matIdentityD;
        value.entity = m_entity;
        value.mask = std::make_shared<const Base::CSurfelCollectionMask>(Words(words));
        entry.value = std::move(value);
        return Base::CEntityMapSyncBatch({entry});
    }

private:
    float offset(float width)
    {
        return std::uniform_real_distribution<float>(-width, width)(m_random);
    }

    void addPoint(std::vector<SFuserPointRecord>& records, const LqVector3f& point)
    {
        records.push_back({point.x, point.y, point.z, {}});
        m_points.push_back(point);
    }

    [[nodiscard]] static float heightOfBit(float x, float y) { return HeightAt(x, y) + 6.0F; }

    /// How far a coordinate is from the middle of the nearest bit.
    [[nodiscard]] static float fromBit(float coordinate)
    {
        return std::fmod(coordinate, c_bitPitch) - 0.5F * c_bitPitch;
    }

    void makeSurfels(std::size_t numSurfels)
    {
        const auto columns =
            static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(numSurfels))));
        const float spacing = m_side / static_cast<float>(columns);
        m_positions.resize(numSurfels * c_stride);
        for (std::size_t index = 0; index < numSurfels; ++index)
        {
            const float x = (static_cast<float>(index % columns) + offset(0.5F)) * spacing;
            const float y = (static_cast<float>(index / columns) + offset(0.5F)) * spacing;
            LqVector3f position{x, y, HeightAt(x, y) + offset(0.15F)};
            const bool isBelowBit = std::abs(fromBit(x)) < 1.0F && std::abs(fromBit(y)) < 1.0F;
            const std::uint32_t kind = static_cast<std::uint32_t>(m_random()) % 100;
            if (isBelowBit && kind < 50)
            {
                position.z = heightOfBit(x - fromBit(x), y - fromBit(y)) + offset(1);
            }
            else if (kind < 5)
            {
                position.z += 9.0F;
            }
            std::memcpy(m_positions.data() + index * c_stride, &position, sizeof position);
        }
    }

    void makeContent()
    {
        const auto blockOf = [](const std::vector<SFuserPointRecord>& records) {
            return std::make_shared<SFuserPointBlock>(
                SFuserPointBlock{records.data(), static_cast<std::uint32_t>(records.size())});
        };
        m_entity = std::make_shared<const CEntity>(
            std::make_shared<const DataLayer::CSurfelCollectionView>(
                nullptr, m_positions.size() / c_stride, m_positions.data(), c_stride));
        auto content = std::make_shared<SFuserContent>();
        content->mainComponentBlocks.push_back(blockOf(m_mainRecords));
        content->smallComponentBlocks.push_back(blockOf(m_smallRecords));
        content->packets.emplace(Base::CUniqueID::Nil(),
                                 Base::CEntityTrafoMaskPacket(Base::CGeometricEntityPacket(
                                     m_entity, c_matIdentityD, nullptr, 0)));
        m_content = std::move(content);
    }

    std::mt19937 m_random{1};
    float m_side;
    std::size_t m_columns;
    std::vector<LqVector3f> m_points;
    std::vector<SFuserPointRecord> m_mainRecords;
    std::vector<SFuserPointRecord> m_smallRecords;
    std::vector<std::byte> m_positions;
    std::shared_ptr<const Base::IGeometricEntity> m_entity;
    std::shared_ptr<const SFuserContent> m_content;
};

/// The last scene only, since they are large.
const CScene& GetScene(std::int64_t numPoints, std::int64_t numSurfels)
{
    static std::pair<std::int64_t, std::int64_t> sizes;
    static std::unique_ptr<const CScene> scene;
    if (scene == nullptr || sizes != std::pair(numPoints, numSurfels))
    {
        sizes = {numPoints, numSurfels};
        scene.reset();
        scene = std::make_unique<const CScene>(static_cast<std::size_t>(numPoints),
                                               static_cast<std::size_t>(numSurfels));
    }
    return *scene;
}

Operation MakeOperation(const CScene& scene)
{
    std::shared_ptr<const SFuserContent> content = scene.GetContent();
    return Operation(content);
}

Words NoWords(const CScene& scene)
{
    return Words(scene.GetPositions().size() / c_stride);
}

/// The words after \p operation, none set before.
Words FlagAll(const CScene& scene, const Operation& operation)
{
    const auto answer = operation.ComputeModifications(scene.MakeBatch(NoWords(scene)));
    return answer.messages.empty()
               ? NoWords(scene)
               : answer.messages[0].GetNewState().mask.GetValue()->GetBitMasks();
}

void FlagAnew(benchmark::State& state, const CScene& scene)
{
    const Base::CEntityMapSyncBatch batch = scene.MakeBatch(NoWords(scene));
    for ([[maybe_unused]] auto _ : state)
    {
        const Operation operation = MakeOperation(scene);
        benchmark::DoNotOptimize(operation.ComputeModifications(batch).messages.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(NoWords(scene).size()));
}

Words FlagWithPeer(const CScene& scene, const Peers::SNearestNeighborPeer& peer)
{
    const auto searcher = peer.make(scene.GetPoints());
    searcher->Build();
    Words words = NoWords(scene);
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        LqVector3f position;
        std::memcpy(&position, scene.GetPositions().data() + index * c_stride, sizeof position);
        const std::int32_t found = searcher->Find(position, c_bound);
        const bool isMain =
            found >= 0 && static_cast<std::size_t>(found) <= scene.GetNumMainPoints();
        words[index].bits = isMain ? 0 : Base::CSurfelBitMask::SurfelFlagSmallComponent;
    }
    return words;
}

/// How many words may differ: of equally near points the peers take any, and they add up squares in
/// their own order.
std::size_t CountDifferent(const Words& a, const Words& b)
{
    std::size_t count = 0;
    for (std::size_t index = 0; index < a.size(); ++index)
    {
        count += a[index] == b[index] ? 0 : 1;
    }
    return count;
}

void FlagWithPeerAnew(benchmark::State& state, const CScene& scene,
                      const Peers::SNearestNeighborPeer& peer)
{
    Words words;
    for ([[maybe_unused]] auto _ : state)
    {
        words = FlagWithPeer(scene, peer);
    }
    if (CountDifferent(words, FlagAll(scene, MakeOperation(scene))) > words.size() / 100000)
    {
        state.SkipWithError("flags other surfels");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(words.size()));
}

void SetMovedBytes(benchmark::State& state, std::size_t count)
{
    const auto items = state.iterations() * static_cast<std::int64_t>(count);
    state.SetItemsProcessed(items);
    state.SetBytesProcessed(items *
                            static_cast<std::int64_t>(c_stride + 2 * sizeof(Base::CSurfelBitMask)));
}

/// A pass that changes no word, as after most updates.
void FlagAgain(benchmark::State& state, const CScene& scene)
{
    const Operation operation = MakeOperation(scene);
    const Words words = FlagAll(scene, operation);
    const Base::CEntityMapSyncBatch batch = scene.MakeBatch(words);
    for ([[maybe_unused]] auto _ : state)
    {
        benchmark::DoNotOptimize(operation.ComputeModifications(batch).messages.data());
    }
    SetMovedBytes(state, words.size());
}

void MoveBytes(benchmark::State& state, const CScene& scene, const MovedBytes::SForm& form)
{
    const Words before = NoWords(scene);
    Words after = before;
    for ([[maybe_unused]] auto _ : state)
    {
        form.move({scene.GetPositions().data(), c_stride, before, after});
    }
    SetMovedBytes(state, before.size());
}

/// Adds a benchmark whose scene is made when it runs.
template <typename Run>
void Add(const std::string& path, const std::string& form, std::size_t numThreads,
         std::int64_t numPoints, std::int64_t numSurfels, const Run& run)
{
    BenchmarkProgram::Add(path, form, numThreads == 1 ? "Scan" : "Scan,ThreadsAll", numSurfels,
                          [=](benchmark::State& state) {
                              const CScene& scene = GetScene(numPoints, numSurfels);
                              const tbb::global_control control(
                                  tbb::global_control::max_allowed_parallelism, numThreads);
                              run(state, scene);
                          });
}

/// Registers the forms of each size one after the other, so that they meet the same machine.
void AddAll()
{
    const auto peers = Peers::GetNearestNeighborSearchers();
    const std::size_t allThreads = std::max(2U, std::thread::hardware_concurrency());
    for (const auto& [points, surfels] :
         {std::pair{1000, 1000}, {1'000'000, 1'000'000}, {1'000'000, 10'000'000}})
    {
        const std::int64_t numPoints = points;
        const std::int64_t numSurfels = surfels;
        for (const std::size_t numThreads : {std::size_t{1}, allThreads})
        {
            Add("SmallComponentsAnew", "Veko2", numThreads, numPoints, numSurfels, FlagAnew);
            for (const Peers::SNearestNeighborPeer& peer : peers)
            {
                Add("SmallComponentsAnew", "Peer:" + peer.name, numThreads, numPoints, numSurfels,
                    [peer](benchmark::State& state, const CScene& scene) {
                        FlagWithPeerAnew(state, scene, peer);
                    });
            }
        }
        Add("SmallComponentsAgain", "Veko2", 1, numPoints, numSurfels, FlagAgain);
        for (const MovedBytes::SForm& form : MovedBytes::GetForms())
        {
            Add("SmallComponentsAgain", "Limit:" + form.name, 1, numPoints, numSurfels,
                [form](benchmark::State& state, const CScene& scene) {
                    MoveBytes(state, scene, form);
                });
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return BenchmarkProgram::Run(argc, argv, AddAll);
}
