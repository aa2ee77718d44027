"""The cutter of cached models."""

import numpy as np

from arrays import joined, offsets_of, part
from arithmetic import bounding_box
from cutting import Collections, Selections, classify

SAME, MESH, SURFELS = 0, 1, 2


class _Geometry(Collections):
    """The collections of the cases, followed by one per mesh, with a surfel on each vertex."""

    def __init__(self, cases):
        super().__init__(cases)
        vertex_offsets = cases["vertex_offsets"].astype(np.int64)
        meshes = len(vertex_offsets) - 1
        self.first_mesh = len(self.has_positions)
        self.has_positions = np.concatenate([self.has_positions, np.ones(meshes, bool)])
        self.positions = np.concatenate([self.positions, cases["vertices"]])
        self.offsets = np.concatenate([self.offsets, self.offsets[-1] + vertex_offsets[1:]])
        boxes = [bounding_box(part(cases, "vertices", "vertex_offsets", mesh))
                 for mesh in range(meshes)]
        self.boxes = np.concatenate([self.boxes, np.array(boxes, np.float32).reshape(meshes, 6)])


def _cut_mesh(vertices, triangles, keep):
    """The kept vertices, and the triangles all of whose corners are kept."""
    kept = np.zeros(len(vertices), bool)
    kept[: min(len(keep), len(kept))] = keep[: len(kept)]
    number = np.cumsum(kept) - 1
    whole = kept[triangles].all(axis=1) if len(triangles) else np.zeros(0, bool)
    return vertices[kept], number[triangles[whole]]


def answer(cases):
    selections, geometry = Selections(cases), _Geometry(cases)
    out = {name: [] for name in ("error", "kind", "stored_mesh", "log", "vertices", "triangles")}

    for case in range(len(cases["use_list"])):
        chosen = part(cases, "chosen", "chosen_offsets", case).astype(np.int64)
        use_list = bool(cases["use_list"][case])
        collection, mesh = int(cases["model_collection"][case]), int(cases["model_mesh"][case])
        error, kind, log = 0, SAME, ""
        vertices, triangles = np.zeros((0, 3), np.float32), np.zeros((0, 3), np.uint32)

        source = None
        if not cases["model_alive"][case]:
            error = 126 if use_list else 51
        elif use_list:
            if mesh >= 0:
                source = geometry.first_mesh + mesh
            elif collection >= 0:
                source = collection
            else:
                log = "3 Encountered empty cached model while applying regionselectioninfo."
        elif collection >= 0:
            source = collection
        else:
            if mesh < 0:
                mesh = int(cases["built_mesh"][case])
            if mesh < 0:
                error = 77
            else:
                source = geometry.first_mesh + mesh

        if source is not None:
            count = geometry.count(source)
            used = len(chosen)
            changed, words, _, _, _ = classify(
                selections, geometry, chosen, [source] * used, [np.zeros(0, np.uint16)] * used,
                np.repeat(cases["model_matrix"][case][None], used, axis=0))
            if changed.any():
                keep = np.ones(count, bool)
                for index in np.flatnonzero(changed):
                    keep &= words[index] == 0
                if not use_list:
                    log = f"2 Output (matched) data: {count} "
                if mesh >= 0:
                    kind = MESH
                    vertices, triangles = _cut_mesh(
                        part(cases, "vertices", "vertex_offsets", mesh),
                        part(cases, "triangles", "triangle_offsets", mesh), keep)
                else:
                    kind = SURFELS
                    vertices = geometry.of(source)[keep]
        out["error"].append(error)
        out["kind"].append(kind)
        out["stored_mesh"].append(mesh)
        out["log"].append(log.encode("ascii"))
        out["vertices"].append(vertices)
        out["triangles"].append(triangles)

    return {
        "error": np.array(out["error"], np.int32),
        "kind": np.array(out["kind"], np.uint8),
        # A new model has the identity matrix and the identifier of its source.
        "well_formed": np.ones(len(out["error"]), np.uint8),
        "stored_mesh": np.array(out["stored_mesh"], np.int32),
        "log_offsets": offsets_of(out["log"]),
        "log": np.frombuffer(b"".join(out["log"]), np.uint8),
        "new_vertex_offsets": offsets_of(out["vertices"]),
        "new_vertices": joined(out["vertices"], np.float32, 3),
        "new_triangle_offsets": offsets_of(out["triangles"]),
        "new_triangles": joined(out["triangles"], np.uint32, 3),
    }
