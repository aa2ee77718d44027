"""Which surfels lie under a painted region."""

import numpy as np

from arithmetic import (F, bounding_box, empty_boxes, extend, intersect, is_empty, product, to_float,
                        to_int32, transform, transform_box, viewport)
from arrays import joined, offsets_of, part

CUT = 0x0008
OUTLIERS = 0x0007
FROZEN = 0x0100


class Selections:
    """The painted regions of a file of cases."""

    def __init__(self, cases):
        self.cases = cases
        transforms = cases["selection_transforms"]
        self.view_projection = product(product(transforms[:, 0], transforms[:, 1]),
                                       transforms[:, 2])
        self.widths = cases["selection_width"]
        self.heights = cases["selection_height"]
        self.float_widths = self.widths.astype(np.float32)
        self.float_heights = self.heights.astype(np.float32)
        self.mask_offsets = cases["mask_offsets"].astype(np.int64)
        self.mask_bytes = cases["mask_bytes"]
        self.pixel_bounds = np.stack(
            [self._pixel_bounds(index) for index in range(len(self.widths))]
        ) if len(self.widths) else empty_boxes((0,))

    def _pixel_bounds(self, index):
        """Columns and rows of the painted pixels, and depths from 0 to 1."""
        box = empty_boxes(())
        painted = np.flatnonzero(part(self.cases, "mask_bytes", "mask_offsets", index) == 1)
        if len(painted):
            width = int(self.widths[index])
            columns, rows = painted % width, painted // width
            box[0], box[3] = columns.min(), columns.max()
            box[1], box[4] = rows.min(), rows.max()
        box[2], box[5] = 0, 1
        return box


class Collections:
    """The surfel collections of a file of cases."""

    def __init__(self, cases):
        self.cases = cases
        self.offsets = cases["position_offsets"].astype(np.int64)
        self.positions = cases["positions"]
        self.has_positions = cases["collection_has_positions"] != 0
        own = cases["collection_has_box"] != 0
        self.boxes = np.stack([
            cases["collection_box"][index] if own[index] else bounding_box(self.of(index))
            for index in range(len(own))
        ]) if len(own) else empty_boxes((0,))

    def of(self, index):
        return self.positions[self.offsets[index] : self.offsets[index + 1]]

    def count(self, index):
        return int(self.offsets[index + 1] - self.offsets[index])


def intersects_region(selections, chosen, boxes, combined):
    """The box test: whether a box can have a point under the paint."""
    projected = transform_box(boxes, combined)
    possible = ~is_empty(boxes) & ~is_empty(projected)
    width, height = selections.float_widths[chosen], selections.float_heights[chosen]
    screen = empty_boxes(boxes.shape[:-1])
    for corner in (0, 3):
        x, y = viewport(projected[:, corner], projected[:, corner + 1], width, height)
        for axis, value in enumerate((x, y, projected[:, corner + 2])):
            screen[:, axis], screen[:, 3 + axis] = extend(screen[:, axis], screen[:, 3 + axis],
                                                          value)
    return possible & intersect(selections.pixel_bounds[chosen], screen)


def at_border(pixels, sizes):
    """Whether coordinates are 0, 1, size - 1 or size, or at most one step of a float beside it.

    Around 0, where floats lie closest, it is one of the coordinate before the viewport.
    """
    nearest = np.rint(pixels)
    result = np.zeros(len(pixels), bool)
    which = np.flatnonzero(((nearest == 0) | (nearest == 1) | (nearest == sizes - F(1))
                            | (nearest == sizes)) & (np.abs(pixels - nearest) < F(0.01)))
    pixels, nearest, sizes = pixels[which], nearest[which], sizes[which]
    result[which] = ((np.nextafter(pixels, nearest) == nearest)
                     | (np.abs(pixels) <= sizes * F(2.0**-24)))
    return result


def inside(selections, chosen, combined, positions):
    """Whether points lie on painted pixels, and whether at a border of the mask.

    `chosen` and `combined` are given per point.
    """
    x, y, _ = transform(combined, positions[:, 0], positions[:, 1], positions[:, 2])
    float_width, float_height = selections.float_widths[chosen], selections.float_heights[chosen]
    px, py = viewport(x, y, float_width, float_height)
    row, column = to_int32(py), to_int32(px)
    hit = ((row > 0) & (row < to_int32(float_height))
           & (column > 0) & (column < to_int32(float_width)))

    width, height = selections.widths[chosen].astype(np.int64), selections.heights[chosen].astype(np.int64)
    hit &= (row < height) & (column < width)
    at = np.where(hit, ((row * width) & 0xFFFFFFFF) + column, 0)
    result = np.zeros(len(positions), bool)
    which = np.flatnonzero(hit)
    result[which] = selections.mask_bytes[selections.mask_offsets[chosen[which]] + at[which]] == 1
    return result, at_border(px, float_width) | at_border(py, float_height)


def classify(selections, collections, chosen, collection_of, words_of, trafos):
    """Cuts items: lists of, per item, its selection, collection, flag words and double transform.

    The answer is, per item: whether a word changed, the words, whether the box test let the item
    through, whether it failed because its positions are missing, and whether a surfel that was
    looked at lies at a border of the mask.
    """
    count = len(chosen)
    chosen = np.asarray(chosen, np.int64)
    collection_of = np.asarray(collection_of, np.int64)
    combined = product(to_float(np.asarray(trafos).reshape(count, 16)),
                       selections.view_projection[chosen])
    passes = intersects_region(selections, chosen, collections.boxes[collection_of], combined)
    failed = passes & ~collections.has_positions[collection_of]

    results = []
    for item in range(count):
        words = words_of[item]
        size = collections.count(collection_of[item])
        results.append(np.array(words if len(words) else np.zeros(size, np.uint16)))

    # All surfels of all items at once. Surfels beyond the words are left out.
    active = np.flatnonzero(passes & ~failed)
    sizes = np.array([min(collections.count(collection_of[item]), len(results[item]))
                      for item in active], np.int64)
    changed = np.zeros(count, bool)
    borders = np.zeros(count, bool)
    if sizes.sum():
        item_of = np.repeat(active, sizes)
        starts = np.cumsum(sizes) - sizes
        surfel = np.arange(len(item_of)) - np.repeat(starts, sizes)
        positions = collections.positions[collections.offsets[collection_of[item_of]] + surfel]
        hit, border = inside(selections, chosen[item_of], combined[item_of], positions)
        borders[item_of[border]] = True
        for item, start, size in zip(active, starts, sizes):
            words = results[item]
            new = hit[start : start + size] & ((words[:size] & CUT) == 0)
            changed[item] = new.any()
            words[:size][new] |= np.uint16(CUT)
    return changed, results, passes, failed, borders


def freeze(words):
    """The words with their outlier state frozen, or None when that changes none."""
    change = ((words & OUTLIERS) != 0) & ((words & FROZEN) == 0)
    return np.where(change, words | FROZEN, words).astype(np.uint16) if change.any() else None


def answer(cases):
    """Whole calls of the classification: case k has selection k and any number of items.

    What is called "at_border" is no answer: which of the cases have a surfel there.
    """
    selections, collections = Selections(cases), Collections(cases)
    offsets = cases["item_offsets"].astype(np.int64)
    case_of = np.repeat(np.arange(len(offsets) - 1), np.diff(offsets))
    words_of = [part(cases, "words", "word_offsets", index) for index in cases["item_words"]]
    changed, words, passes, failed, borders = classify(selections, collections, case_of,
                                                       cases["item_collection"], words_of,
                                                       cases["item_trafo"])
    # Where an item fails, the call does.
    error = np.zeros(len(offsets) - 1, np.uint8)
    error[case_of[failed]] = 1
    border_cases = np.zeros(len(offsets) - 1, bool)
    border_cases[case_of[borders]] = True
    lost = error[case_of] != 0
    words = [words[item] if not lost[item] else () for item in range(len(lost))]
    return {
        "error": error,
        "repeats_equal": np.ones(len(offsets) - 1, np.uint8),
        "changed": (changed & ~lost).astype(np.uint8),
        "intersects": passes.astype(np.uint8),
        "result_offsets": offsets_of(words),
        "result_words": joined(words, np.uint16),
        "at_border": border_cases,
    }
