"""Files of named arrays, which both sides of the comparison read and write.

A file is the eight bytes "V2ARRAYS" followed by any number of arrays up to its end. An array is

    u32   length of the name        char  the name (ASCII)
    char  its element type: u, i or f, then the element's size in bytes as a digit
    u32   number of dimensions      u64   each dimension, the slowest first
    the elements

Everything is little-endian and packed. Lists of lists are kept as one array of all elements and a
second one of offsets: list k holds the elements offsets[k] up to, not including, offsets[k + 1].
"""

import struct

import numpy as np

MAGIC = b"V2ARRAYS"


def read_arrays(path):
    """The arrays of a file by name; they are read only."""
    with open(path, "rb") as file:
        data = file.read()
    if data[:8] != MAGIC:
        raise ValueError(f"{path}: not a file of arrays")
    arrays = {}
    at = 8
    while at < len(data):
        (length,) = struct.unpack_from("<I", data, at)
        at += 4
        name = data[at : at + length].decode("ascii")
        at += length
        dtype = np.dtype("<" + data[at : at + 2].decode("ascii"))
        at += 2
        (dimensions,) = struct.unpack_from("<I", data, at)
        at += 4
        shape = struct.unpack_from(f"<{dimensions}Q", data, at)
        at += 8 * dimensions
        count = int(np.prod(shape, dtype=np.uint64))
        arrays[name] = np.frombuffer(data, dtype, count, at).reshape(shape)
        at += count * dtype.itemsize
    return arrays


def write_arrays(path, arrays):
    """Writes arrays by name; the other side of read_arrays()."""
    with open(path, "wb") as file:
        file.write(MAGIC)
        for name, values in arrays.items():
            values = np.ascontiguousarray(values)
            values = values.astype(values.dtype.newbyteorder("<"), copy=False)
            file.write(struct.pack("<I", len(name)) + name.encode("ascii"))
            file.write(f"{values.dtype.kind}{values.dtype.itemsize}".encode("ascii"))
            file.write(struct.pack(f"<I{values.ndim}Q", values.ndim, *values.shape))
            file.write(values.tobytes())


def offsets_of(lists):
    """The offsets of lists that stand one after the other."""
    return np.cumsum([0] + [len(entries) for entries in lists], dtype=np.uint64)


def joined(lists, dtype, width=None):
    """All elements of the lists in one array; `width` is the length of an element that is a row."""
    if not lists:
        return np.zeros((0,) if width is None else (0, width), dtype)
    return np.concatenate([np.asarray(entries, dtype) for entries in lists])


def part(arrays, name, offsets_name, index):
    """List `index` of the lists `name`."""
    offsets = arrays[offsets_name]
    return arrays[name][int(offsets[index]) : int(offsets[index + 1])]
