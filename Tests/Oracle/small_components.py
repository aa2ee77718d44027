"""The operation that flags the surfels of small components."""

import numpy as np

from arithmetic import F, to_float, transform
from arrays import part
from cutting import Collections
from entity_map import (ENTITY, FLAG, MASK, NEW_MASK, NO_ERROR, NO_POSITIONS, NO_VALUE, Answers,
                        Entries)

ORIGIN = "CSmallComponentModifyOperation"
SMALL_COMPONENT = 0x0002
EXCLUDED = 0x0010
BOUND = F(2.25)


def nearest(cloud, queries, bound):
    """The index of the nearest point of the cloud (n, 3) within the bound, for each query; or -1."""
    result = np.full(len(queries), -1, np.int64)
    if not F(bound) >= 0:
        return result
    limit = F(bound) * F(bound)
    finite = np.all(np.isfinite(cloud), axis=1)
    for start in range(0, len(queries), 4096):
        chunk = queries[start : start + 4096]
        best = np.full(len(chunk), np.inf, np.float32)
        found = np.full(len(chunk), -1, np.int64)
        usable = np.all(np.isfinite(chunk), axis=1)
        if len(cloud) * len(chunk) <= 1 << 22:
            dx = cloud[None, :, 0] - chunk[:, None, 0]
            dy = cloud[None, :, 1] - chunk[:, None, 1]
            dz = cloud[None, :, 2] - chunk[:, None, 2]
            distances = (dx * dx + dy * dy) + dz * dz
            admitted = (distances <= limit) & finite[None, :] & usable[:, None]
            any_admitted = admitted.any(axis=1) if len(cloud) else np.zeros(len(chunk), bool)
            if len(cloud):
                # Two steps, so that a distance that is infinite itself can be the nearest one.
                least = np.min(np.where(admitted, distances, F(np.inf)), axis=1)
                first = np.argmax(admitted & (distances == least[:, None]), axis=1)
                found = np.where(any_admitted, first, -1)
        else:
            for index in np.flatnonzero(finite):
                dx = cloud[index, 0] - chunk[:, 0]
                dy = cloud[index, 1] - chunk[:, 1]
                dz = cloud[index, 2] - chunk[:, 2]
                distances = (dx * dx + dy * dy) + dz * dz
                nearer = usable & (distances <= limit) & ((distances < best) | (found < 0))
                best[nearer] = distances[nearer]
                found[nearer] = index
        result[start : start + 4096] = found
    return result


def _neighbor_cloud(cases, case):
    """The cloud, or None, and the number of its main points as the operation keeps it."""

    def points(name):
        blocks = part(cases, name, name + "_offsets", case)
        lists = [part(cases, "points", "point_offsets", block) for block in blocks
                 if cases["block_present"][block]]
        return np.concatenate(lists) if lists else np.zeros((0, 3), np.float32)

    if not cases["has_content"][case]:
        return None, 0
    main, small = points("main_blocks"), points("small_blocks")
    if not len(small):
        return None, 0
    # The constructor builds once; every rebuild counts the main points again, unless a reset came
    # before it.
    builds = cases["rebuilds"][case] + (0 if cases["reset"][case] else 1)
    if builds == 0:
        return None, 0
    return np.concatenate([main, small]), int(builds) * len(main)


def _remove(words, positions, trafo, cloud, main_count):
    """The new flag words of one entity, or None when none changes."""
    bits = np.array(words if len(words) else np.zeros(len(positions), np.uint16))
    examined = min(len(bits), len(positions))
    which = np.flatnonzero((bits[:examined] & EXCLUDED) == 0)
    at = positions[which]
    x, y, z = transform(to_float(trafo), at[:, 0], at[:, 1], at[:, 2])
    neighbor = nearest(cloud, np.stack([x, y, z], axis=1), BOUND)
    # The first small point counts as main body, too.
    main_body = (neighbor >= 0) & (neighbor <= main_count)
    old = bits[which]
    bits[which] = np.where(main_body, old & 0xFFFD, old | SMALL_COMPONENT)
    return bits if (bits[which] != old).any() else None


def answer(cases):
    collections, entries = Collections(cases), Entries(cases)
    answers = Answers()
    for case in range(len(cases["calls"])):
        cloud, main_count = _neighbor_cloud(cases, case)
        error, messages = NO_ERROR, []
        if cloud is not None and main_count != 0:
            first, last = (int(cases["known_offsets"][case + k]) for k in (0, 1))
            known = {bytes(cases["known_key"][k]): k for k in range(first, last)}
            for e in entries.of(case):
                k = known.get(bytes(cases["entry_key"][e]))
                if k is None:
                    messages = []
                    break
                if not cases["entry_has_value"][e]:
                    error, messages = NO_VALUE, []
                    break
                entity, known_entity = cases["entry_entity"][e], cases["known_entity"][k]
                if entity < 0 or known_entity < 0 or bytes(cases["entity_id"][entity]) != bytes(
                        cases["entity_id"][known_entity]):
                    messages = []
                    break
                collection = cases["entity_collection"][entity]
                if not collections.has_positions[collection]:
                    error, messages = NO_POSITIONS, []
                    break
                words = entries.mask(e)
                new = _remove(np.zeros(0, np.uint16) if words is None else words,
                              collections.of(collection), cases["known_trafo"][k], cloud,
                              main_count)
                if new is not None:
                    messages.append((cases["entry_key"][e],
                                     {"present": ENTITY, "entity": entity},
                                     {"present": MASK | FLAG, "flag": 1, "mask": NEW_MASK,
                                      "words": new}))
        for _ in range(cases["calls"][case]):
            answers.add_call(error, 0, ORIGIN, messages)
    return answers.arrays()


def answer_nearest(cases):
    """The neighbour search alone."""
    found = [nearest(part(cases, "points", "point_offsets", case),
                     part(cases, "queries", "query_offsets", case), bound)
             for case, bound in enumerate(cases["bound"])]
    return {"neighbors": np.concatenate(found).astype(np.int32) if found
            else np.zeros(0, np.int32)}
