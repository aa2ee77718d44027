"""Matrices, points and boxes in single precision.

Every operation is one NumPy operation on arrays of one floating-point type, so that each rounds
once, in the order in which it stands here, and none is contracted with another.

Matrices are arrays (..., 16), element (row r, column c) at 4 r + c; points are row vectors.
"""

import numpy as np

F = np.float32
INT_MIN = -(2**31)
# How an axis of a box without any point is kept.
EMPTY_MIN, EMPTY_MAX = F(np.inf), F(-np.inf)


def to_float(matrix):
    """A double matrix rounded to floats, element by element."""
    return matrix.astype(np.float32)


def product(a, b):
    """a x b in the elements' own type: in each element the four terms are added from left to right."""
    a = a.reshape(a.shape[:-1] + (4, 4))
    b = b.reshape(b.shape[:-1] + (4, 4))
    rows = []
    for i in range(4):
        row = a[..., i, 0, None] * b[..., 0, :]
        for k in range(1, 4):
            row = row + a[..., i, k, None] * b[..., k, :]
        rows.append(row)
    return np.concatenate(rows, axis=-1)


def transform(matrix, x, y, z):
    """(x, y, z, 1) times the matrix, divided by the resulting w: three arrays."""
    v = []
    for j in range(4):
        v.append(((x * matrix[..., j] + y * matrix[..., 4 + j]) + z * matrix[..., 8 + j])
                 + matrix[..., 12 + j])
    return v[0] / v[3], v[1] / v[3], v[2] / v[3]


def viewport(x, y, width, height):
    """Normalised device coordinates to pixels."""
    return ((x + F(1)) * width) * F(0.5), ((F(1) - y) * height) * F(0.5)


def to_int32(values):
    """Truncation toward zero; the lowest integer for what no 32-bit integer holds."""
    fits = (values >= F(-(2.0**31))) & (values < F(2.0**31))
    return np.where(fits, np.trunc(np.where(fits, values, F(0))).astype(np.int64), INT_MIN)


def extend(low, high, value):
    """Bounds of one axis that also take in `value`; one that is not a number is left out."""
    return (np.where(value < low, value, low).astype(np.float32),
            np.where(value > high, value, high).astype(np.float32))


def is_empty(box):
    """Whether some axis of a box (..., 6) holds no interval."""
    return ~np.all(box[..., 0:3] <= box[..., 3:6], axis=-1)


def intersect(a, b):
    """Whether two boxes have a point in common; boxes that touch have one."""
    overlap = (a[..., 0:3] <= b[..., 3:6]) & (b[..., 0:3] <= a[..., 3:6])
    return np.all(overlap, axis=-1) & ~is_empty(a) & ~is_empty(b)


def empty_boxes(shape):
    """Boxes without a point."""
    boxes = np.empty(tuple(shape) + (6,), np.float32)
    boxes[..., 0:3] = EMPTY_MIN
    boxes[..., 3:6] = EMPTY_MAX
    return boxes


def transform_box(box, matrix):
    """The box of the eight transformed corners; an empty box stays empty."""
    result = empty_boxes(box.shape[:-1])
    for corner in range(8):
        x = box[..., 3 if corner & 1 else 0]
        y = box[..., 4 if corner & 2 else 1]
        z = box[..., 5 if corner & 4 else 2]
        for axis, value in enumerate(transform(matrix, x, y, z)):
            result[..., axis], result[..., 3 + axis] = extend(
                result[..., axis], result[..., 3 + axis], value)
    result[is_empty(box)] = empty_boxes(())
    return result


def bounding_box(positions):
    """The box of those of the positions (n, 3) whose coordinates are all finite."""
    box = empty_boxes(())
    finite = positions[np.all(np.isfinite(positions), axis=1)]
    if len(finite):
        # The first of equal ones counts, which matters for the sign of a zero only.
        for axis in range(3):
            box[axis] = finite[np.argmin(finite[:, axis]), axis]
            box[3 + axis] = finite[np.argmax(finite[:, axis]), axis]
    return box


def answer(cases):
    """Matrices, a point and a view, each by themselves."""
    a, b = cases["a"], cases["b"]
    float_a = to_float(a)
    x, y, z = (cases["point"][:, axis] for axis in range(3))
    pixel_x, pixel_y = viewport(x, y, cases["size"][:, 0], cases["size"][:, 1])
    return {
        "converted": float_a,
        "product": product(float_a, to_float(b)),
        "double_product": product(a, b),
        "transformed": np.stack(transform(float_a, x, y, z), axis=1),
        "viewport": np.stack([pixel_x, pixel_y, z], axis=1),
    }


def answer_boxes(cases):
    box = cases["box"]
    extended = empty_boxes(box.shape[:1])
    for point in range(4):
        for axis in range(3):
            extended[:, axis], extended[:, 3 + axis] = extend(
                extended[:, axis], extended[:, 3 + axis], cases["points"][:, point, axis])
    return {
        "transformed_box": transform_box(box, cases["matrix"]),
        "extended_box": extended,
        "is_empty": is_empty(box).astype(np.uint8),
        "intersects": intersect(box, cases["other_box"]).astype(np.uint8),
    }
