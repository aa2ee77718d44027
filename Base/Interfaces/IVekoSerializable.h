#pragma once

#include <cstddef>

#include "Base/Export.h"
#include "Base/Support/LqRTTI.h"

namespace Base
{

/// Where a serialisable object reads its bytes from.
class VEKO2_BASE_EXPORT IVekoStreamRead
{
public:
    virtual ~IVekoStreamRead();

    /// Fills the \p size bytes at \p data, all of them.
    /// @throw VekoException when the stream ends before.
    virtual void Read(void* data, std::size_t size) = 0;

protected:
    IVekoStreamRead() = default;
    IVekoStreamRead(const IVekoStreamRead&) = default;
    IVekoStreamRead& operator=(const IVekoStreamRead&) = default;
};

/// Where a serialisable object writes its bytes to.
class VEKO2_BASE_EXPORT IVekoStreamWrite
{
public:
    virtual ~IVekoStreamWrite();

    /// Appends the \p size bytes at \p data.
    /// @throw VekoException when they cannot be written.
    virtual void Write(const void* data, std::size_t size) = 0;

protected:
    IVekoStreamWrite() = default;
    IVekoStreamWrite(const IVekoStreamWrite&) = default;
    IVekoStreamWrite& operator=(const IVekoStreamWrite&) = default;
};

/// An object that can be written to a stream and read back.
class VEKO2_BASE_EXPORT IVekoSerializable
{
public:
    virtual ~IVekoSerializable();

    [[nodiscard]] virtual const LqRTTI& GetRTTI() const = 0;
    [[nodiscard]] virtual const wchar_t* GetClassNameW() const = 0;

    /// Writes the object's whole state.
    virtual void Serialize(IVekoStreamWrite& stream) const = 0;

    /// Replaces the object's state by one that was written before.
    /// @throw VekoException when the stream does not hold one; the object is then as it was.
    virtual void Serialize(IVekoStreamRead& stream) = 0;

protected:
    IVekoSerializable() = default;
    IVekoSerializable(const IVekoSerializable&) = default;
    IVekoSerializable& operator=(const IVekoSerializable&) = default;
};

}  // namespace Base
