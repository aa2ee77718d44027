#pragma once

#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

#include "Base/Support/CString.h"
#include "Base/Support/TOptional.h"
#include "Base/Support/VekoException.h"

// The records that carry the state of a synchronised map and the changes to it. All take the same
// five arguments: the key, and the types of an entry's entity, trafo, mask and optimization level.
// Plain values: distinct objects may be used from any thread, one may be read by several at once.

namespace Base
{

/// The full state of one map entry. Flag and the 64-bit field belong to the map's owner.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
struct TSyncableMapValue
{
    OptimizationLevel optimizationLevel{};
    Mask mask{};
    Trafo trafo{};
    Entity entity{};
    bool flag = false;
    std::uint64_t reserved = 0;
};

/// One side of a change: the members that are present, each independently of the others. The
/// 64-bit field of a full record is not part of it.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
struct TSyncableMapPartialValue
{
    using Value = TSyncableMapValue<Key, Entity, Trafo, Mask, OptimizationLevel>;

    /// Nothing present.
    TSyncableMapPartialValue() = default;

    /// All five members present.
    explicit TSyncableMapPartialValue(const Value& value)
        : optimizationLevel(value.optimizationLevel),
          mask(value.mask),
          trafo(value.trafo),
          entity(value.entity),
          flag(value.flag)
    {}

    /// All five members present, taken over from \p value.
    explicit TSyncableMapPartialValue(Value&& value)
        : optimizationLevel(std::move(value.optimizationLevel)),
          mask(std::move(value.mask)),
          trafo(std::move(value.trafo)),
          entity(std::move(value.entity)),
          flag(value.flag)
    {}

    ScanAPI::TOptional<OptimizationLevel> optimizationLevel;
    ScanAPI::TOptional<Mask> mask;
    ScanAPI::TOptional<Trafo> trafo;
    ScanAPI::TOptional<Entity> entity;
    ScanAPI::TOptional<bool> flag;
};

/// One entry as it stands in the map: its key and, unless it was removed, its state.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
struct TSyncableMapSyncEntry
{
    using Value = TSyncableMapValue<Key, Entity, Trafo, Mask, OptimizationLevel>;

    Key key{};
    ScanAPI::TOptional<Value> value;
};

/// The current state of a map: its entries in an order that does not change.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
class TSyncableMapSyncBatch
{
public:
    using Entry = TSyncableMapSyncEntry<Key, Entity, Trafo, Mask, OptimizationLevel>;

    /// No entries.
    TSyncableMapSyncBatch() = default;

    /// The given entries in their order.
    TSyncableMapSyncBatch(std::vector<Entry> entries) : m_entries(std::move(entries)) {}

    [[nodiscard]] const std::vector<Entry>& GetEntries() const { return m_entries; }

private:
    std::vector<Entry> m_entries;
};

/// One change to a map: the key of the entry and, by kind, its new state, a part of it, or the old
/// and the new side of the change.
///
/// The operations below set and read the payload and keep `kind` in step; writing `kind` changes
/// nothing that is carried. Copies, moves and the destructor follow what is really there.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
class TSyncableMapModifyMessage
{
public:
    using Value = TSyncableMapValue<Key, Entity, Trafo, Mask, OptimizationLevel>;
    using Partial = TSyncableMapPartialValue<Key, Entity, Trafo, Mask, OptimizationLevel>;

    /// What a message carries.
    enum Kind : std::uint32_t
    {
        FullValue = 0,     ///< one full record
        PartialValue = 1,  ///< one partial record
        Modify = 2,        ///< two partial records, the old state and the new state
    };

    /// A full record without content for the nil key: every message gets its entry's key anyway,
    /// and drawing an identifier costs more than all the rest.
    TSyncableMapModifyMessage() : TSyncableMapModifyMessage(Key::Nil()) {}

    /// A full record without content for \p entryKey.
    explicit TSyncableMapModifyMessage(const Key& entryKey) : key(entryKey) {}

    TSyncableMapModifyMessage(const TSyncableMapModifyMessage&) = default;
    TSyncableMapModifyMessage& operator=(const TSyncableMapModifyMessage&) = default;
    // Not inlined, nor are the operations that replace the payload: compilers would follow the
    // payloads that a message does not hold, and warn of their uninitialised members.
    [[gnu::noinline]] TSyncableMapModifyMessage(TSyncableMapModifyMessage&&) noexcept = default;
    TSyncableMapModifyMessage& operator=(TSyncableMapModifyMessage&&) noexcept = default;
    ~TSyncableMapModifyMessage() = default;

    /// Makes this a message with one full record.
    [[gnu::noinline]] void SetValue(Value value)
    {
        m_payload.template emplace<Value>(std::move(value));
        kind = FullValue;
    }

    /// Makes this a message with one partial record.
    [[gnu::noinline]] void SetPartialValue(Partial partial)
    {
        m_payload.template emplace<Partial>(std::move(partial));
        kind = PartialValue;
    }

    /// Makes this a message with the two sides of a change.
    [[gnu::noinline]] void SetModify(Partial oldState, Partial newState)
    {
        m_payload.template emplace<SChange>(SChange{std::move(oldState), std::move(newState)});
        kind = Modify;
    }

    /// The full record.
    /// @throw VekoException when the message carries something else.
    [[nodiscard]] const Value& GetValue() const { return payload<Value>(); }

    /// The partial record.
    /// @throw VekoException when the message carries something else.
    [[nodiscard]] const Partial& GetPartialValue() const { return payload<Partial>(); }

    /// The side of a change that tells what was.
    /// @throw VekoException when the message carries something else.
    [[nodiscard]] const Partial& GetOldState() const { return payload<SChange>().oldState; }

    /// The side of a change that tells what shall be.
    /// @throw VekoException when the message carries something else.
    [[nodiscard]] const Partial& GetNewState() const { return payload<SChange>().newState; }

    Kind kind = FullValue;
    Key key;

private:
    struct SChange
    {
        Partial oldState;
        Partial newState;
    };

    template <typename Payload>
    [[nodiscard]] const Payload& payload() const
    {
        const auto* const held = std::get_if<Payload>(&m_payload);
        if (held == nullptr)
        {
            ThrowVekoException("Base/Interfaces/SyncableMap", 183,
                               "Base::TSyncableMapModifyMessage::payload",
                               L"A map message was read as another kind than it carries.");
        }
        return *held;
    }

    std::variant<Value, Partial, SChange> m_payload;
};

/// The changes that one operation answers with.
template <typename Key, typename Entity, typename Trafo, typename Mask, typename OptimizationLevel>
struct TSyncableMapModifyBatch
{
    using Message = TSyncableMapModifyMessage<Key, Entity, Trafo, Mask, OptimizationLevel>;

    /// The class name of the operation.
    CString origin;
    /// Belongs to the map's owner; false in every batch that an operation returns.
    bool flag = false;
    std::vector<Message> messages;
};

}  // namespace Base
