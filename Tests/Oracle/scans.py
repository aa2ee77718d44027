"""Cases of both operations that are made of real scans."""

import os

import numpy as np

from arrays import joined, offsets_of

WIDTH, HEIGHT = 640, 480
# The restatement looks at every fused point for every surfel.
FUSED_POINTS = 600
# The extent to which a scan is brought, so that the neighbours' bound matters.
FUSED_EXTENT = 120.0
PLY_TYPES = {"float": "<f4", "float32": "<f4", "double": "<f8", "uchar": "u1", "uint8": "u1",
             "char": "i1", "short": "<i2", "ushort": "<u2", "int": "<i4", "uint": "<u4"}


def _read_ply(path):
    with open(path, "rb") as file:
        fields, count, in_vertices = [], 0, False
        for line in iter(lambda: file.readline().decode("ascii").split(), ["end_header"]):
            if line[:1] == ["format"] and line[1] != "binary_little_endian":
                raise ValueError(f"{path}: only binary little-endian PLY files are read")
            if line[:1] == ["element"]:
                in_vertices = line[1] == "vertex"
                count = int(line[2]) if in_vertices else count
            elif line[:1] == ["property"] and in_vertices:
                fields.append((line[2], PLY_TYPES[line[1]]))
        vertices = np.frombuffer(file.read(count * np.dtype(fields).itemsize), fields, count)
    return np.stack([vertices[axis] for axis in "xyz"], axis=1).astype(np.float32)


def _read_obj(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return np.array([line.split()[1:4] for line in file if line.startswith("v ")], np.float32)


def scan_paths(folder):
    """All scans below a folder."""
    return sorted(os.path.join(place, name) for place, _, names in os.walk(folder)
                  for name in names if name.endswith((".ply", ".obj")))


def read_positions(path):
    """The positions of a scan, those that are no numbers too."""
    return _read_ply(path) if path.endswith(".ply") else _read_obj(path)


def _entity_arrays(positions, words):
    """One collection that is the only entity of a batch of one entry."""
    key = np.arange(16, dtype=np.uint8).reshape(1, 16)
    return {
        "positions": positions, "position_offsets": offsets_of([positions]),
        "collection_layout": np.zeros(1, np.uint8),
        "collection_has_positions": np.ones(1, np.uint8),
        "collection_has_box": np.zeros(1, np.uint8),
        "collection_box": np.zeros((1, 6), np.float32),
        "words": words, "word_offsets": offsets_of([words]),
        "entity_id": key, "entity_collection": np.zeros(1, np.uint32),
        "entity_tag": np.zeros(1, np.uint8), "entity_tag_value": np.zeros(1, np.int32),
        "entry_key": key, "entry_has_value": np.ones(1, np.uint8),
        "entry_level": np.full(1, 3, np.int32), "entry_flag": np.ones(1, np.uint8),
        "entry_reserved": np.full(1, 7, np.uint64), "entry_entity": np.zeros(1, np.int32),
        "entry_words": np.zeros(1, np.int32), "entry_offsets": np.array([0, 1], np.uint64),
        # Again, since a collection may prepare itself for a second cut.
        "calls": np.full(1, 3, np.uint8),
    }


def _fit(positions):
    """The middle of the finite positions and the longest side of their box."""
    finite = positions[np.all(np.isfinite(positions), axis=1)].astype(np.float64)
    low, high = finite.min(axis=0), finite.max(axis=0)
    return (low + high) / 2, float((high - low).max())


def cut_case(positions, angle, perspective):
    """A scan in a view from some side, with an ellipse, stripes and single pixels painted."""
    middle, extent = _fit(positions)
    center, turn, view = np.eye(4), np.eye(4), np.eye(4)
    center[3, :3] = -middle
    turn[0, 0] = turn[2, 2] = np.cos(angle)
    turn[0, 2], turn[2, 0] = np.sin(angle), -np.sin(angle)
    view[0, 0] = view[1, 1] = 1.6 / extent
    view[2, 2] = 0.5 / extent
    view[3, 2] = 0.5
    if perspective:
        # Whatever stands in front of the middle is nearer; some points may be behind the eye.
        view[2, 3], view[3, 3] = 1.5 / extent, 0.9
    rows, columns = np.mgrid[0:HEIGHT, 0:WIDTH]
    mask = (((columns - 300) / 180.0) ** 2 + ((rows - 220) / 120.0) ** 2 < 1).astype(np.uint8)
    mask |= (columns % 37 == 0) | ((rows * WIDTH + columns) % 101 == 0)
    mask[rows % 41 == 0] = 2
    words = (np.arange(len(positions)) * 40503 % 65536).astype(np.uint16)
    words[np.arange(len(positions)) % 3 != 0] = 0
    arrays = _entity_arrays(positions, words)
    arrays.update({
        "selection_transforms": np.stack([np.eye(4), turn, view]).reshape(1, 3, 16)
        .astype(np.float32),
        "selection_width": np.full(1, WIDTH, np.uint32),
        "selection_height": np.full(1, HEIGHT, np.uint32),
        "mask_bytes": mask.ravel(), "mask_offsets": np.array([0, mask.size], np.uint64),
        "entry_trafo": center.reshape(1, 16), "operation_matrix": np.eye(4).reshape(1, 16),
    })
    return arrays


def small_component_case(positions):
    """A scan beside some of its own points, of which every fourth belongs to a small component."""
    middle, extent = _fit(positions)
    scale = FUSED_EXTENT / extent
    trafo = np.diag([scale, scale, scale, 1.0])
    trafo[3, :3] = -middle * scale
    finite = positions[np.all(np.isfinite(positions), axis=1)]
    fused = (finite[:: max(1, len(finite) // FUSED_POINTS)] * scale - middle * scale).astype(
        np.float32)
    small = np.arange(len(fused)) % 4 == 0
    blocks = [fused[~small][:100], fused[~small][100:], fused[small]]
    words = np.where(np.arange(len(positions)) % 5 == 0, 0x0012,
                     np.where(np.arange(len(positions)) % 7 == 0, 0x000A, 0)).astype(np.uint16)
    arrays = _entity_arrays(positions, words)
    arrays.update({
        "entry_trafo": np.eye(4).reshape(1, 16),
        "has_content": np.ones(1, np.uint8), "reset": np.zeros(1, np.uint8),
        "rebuilds": np.zeros(1, np.uint8),
        "points": joined(blocks, np.float32, 3), "point_offsets": offsets_of(blocks),
        "block_present": np.ones(3, np.uint8),
        "main_blocks": np.array([0, 1], np.uint32),
        "main_blocks_offsets": np.array([0, 2], np.uint64),
        "small_blocks": np.array([2], np.uint32),
        "small_blocks_offsets": np.array([0, 1], np.uint64),
        "known_key": arrays["entry_key"], "known_entity": np.zeros(1, np.int32),
        "known_trafo": trafo.reshape(1, 16), "known_offsets": np.array([0, 1], np.uint64),
    })
    return arrays


def cases(positions):
    """Cases of a scan: kind and arrays."""
    for angle, perspective in ((0.0, False), (0.7, True), (2.4, True)):
        yield "cut-operation", cut_case(positions, angle, perspective)
    yield "small-component-operation", small_component_case(positions)
