"""The operation that cuts every entity of a map's batch."""

import numpy as np

from arithmetic import product
from cutting import Collections, Selections, classify, freeze
from entity_map import (ENTITY, FLAG, LEVEL, MASK, NEW_MASK, NO_ERROR, NO_MASK, NO_POSITIONS,
                        NO_VALUE, OWN_MASK, TRAFO, Answers, Entries)

ORIGIN = "CCutWithPixelMaskSyncableEntityCollectionModifyOperation"
SKELETON_TAG = 1


def _full_side(cases, entry, level, words, mask, flag):
    """All five members of a value."""
    return {"present": LEVEL | MASK | TRAFO | ENTITY | FLAG, "level": level,
            "trafo": cases["entry_trafo"][entry], "entity": cases["entry_entity"][entry],
            "flag": flag, "mask": mask, "words": words}


def answer(cases):
    selections, collections, entries = Selections(cases), Collections(cases), Entries(cases)
    entity = cases["entry_entity"]
    case_of = np.repeat(np.arange(len(cases["calls"])), np.diff(entries.offsets))

    # Each entity is moved by its own trafo first, then by the operation's matrix, in doubles.
    combined = product(cases["entry_trafo"], cases["operation_matrix"][case_of])

    # Everything that could be cut is classified; what must not be is left out below.
    candidates = [e for e in range(len(entity)) if cases["entry_has_value"][e] and entity[e] >= 0]
    no_words = np.zeros(0, np.uint16)
    words_of = [entries.mask(e) for e in candidates]
    changed, cut_words, passes, failed, _ = classify(
        selections, collections, case_of[candidates],
        [cases["entity_collection"][entity[e]] for e in candidates],
        [no_words if words is None else words for words in words_of],
        combined[candidates].reshape(len(candidates), 16))
    cut_of = {e: (changed[i], cut_words[i], failed[i]) for i, e in enumerate(candidates)}

    answers = Answers()
    for case, calls in enumerate(cases["calls"]):
        error, messages, modified = NO_ERROR, [], 0
        for e in entries.of(case):
            if not cases["entry_has_value"][e]:
                error = NO_VALUE
                break
            words = entries.mask(e)
            mask = NO_MASK if words is None else OWN_MASK
            own = () if words is None else words
            new_words = None
            if entity[e] >= 0:
                skeleton = (cases["entity_tag"][entity[e]] == SKELETON_TAG
                            and cases["entity_tag_value"][entity[e]] != 0)
                is_changed, result, has_failed = cut_of[e]
                if not skeleton:
                    if has_failed:
                        error = NO_POSITIONS
                        break
                    if is_changed:
                        new_words = result
            frozen = freeze(new_words if new_words is not None else np.asarray(own, np.uint16))
            if frozen is not None:
                new_words = frozen
            level = cases["entry_level"][e]
            old = _full_side(cases, e, level, own, mask, cases["entry_flag"][e])
            if new_words is None:
                new = _full_side(cases, e, level, own, mask, 0)
            else:
                new = _full_side(cases, e, level, new_words, NEW_MASK, 0)
                modified += 1
            messages.append((cases["entry_key"][e], old, new))
        total = 0
        for _ in range(calls):
            if error:
                answers.add_call(error, total, ORIGIN, [])
                continue
            total += modified
            answers.add_call(error, total, ORIGIN, messages if modified else [])
    return answers.arrays()


def answer_freezing(cases):
    """The freeze alone: one list of words per case, and whether a mask comes back at all."""
    words = cases["words"]
    frozen = np.where(((words & 7) != 0) & ((words & 0x100) == 0), words | 0x100, words)
    frozen = frozen.astype(np.uint16)
    offsets = cases["word_offsets"].astype(np.int64)
    changes = np.concatenate([[0], np.cumsum(frozen != words)])
    return {"changed": (changes[offsets[1:]] != changes[offsets[:-1]]).astype(np.uint8),
            "frozen_words": frozen}
