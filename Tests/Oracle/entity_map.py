"""Batches of the synchronised entity map, and the answers of the operations on them."""

import numpy as np

from arrays import joined, offsets_of, part

# What leaves an operation instead of an answer.
NO_ERROR, NO_VALUE, NO_POSITIONS = 0, 1, 2
# The members of one side of a change.
LEVEL, MASK, TRAFO, ENTITY, FLAG = 1, 2, 4, 8, 16
# Where a mask of an answer comes from.
NO_MASK, OWN_MASK, NEW_MASK = 0, 1, 2
MODIFY = 2


class Entries:
    """The entries of all cases of a file, and what they refer to."""

    def __init__(self, cases):
        self.cases = cases
        self.offsets = cases["entry_offsets"].astype(np.int64)
        self.words = cases["entry_words"]

    def of(self, case):
        return range(self.offsets[case], self.offsets[case + 1])

    def mask(self, entry):
        """The flag words of an entry's mask, or None without a mask."""
        words = int(self.words[entry])
        return None if words < 0 else part(self.cases, "words", "word_offsets", words)


class Answers:
    """Collects what the calls of an operation answer."""

    def __init__(self):
        self.calls = {"error": [], "total": [], "batch_flag": []}
        self.origins = []
        self.messages_of_calls = []
        self.sides = {"side_present": [], "side_level": [], "side_trafo": [], "side_entity": [],
                      "side_flag": [], "side_mask": []}
        self.side_words = []
        self.message_keys = []

    def add_call(self, error, total, origin, messages):
        """`messages` are (key, old side, new side)."""
        self.calls["error"].append(error)
        self.calls["total"].append(total)
        self.calls["batch_flag"].append(0)
        self.origins.append(b"" if error else origin.encode("ascii"))
        self.messages_of_calls.append(messages)
        for key, old, new in messages:
            self.message_keys.append(key)
            for side in (old, new):
                self.sides["side_present"].append(side.get("present", 0))
                self.sides["side_level"].append(side.get("level", 0))
                self.sides["side_trafo"].append(side.get("trafo", np.zeros(16)))
                self.sides["side_entity"].append(side.get("entity", -1))
                self.sides["side_flag"].append(side.get("flag", 0))
                self.sides["side_mask"].append(side.get("mask", NO_MASK))
                self.side_words.append(side.get("words", ()))

    def arrays(self):
        count = len(self.message_keys)
        return {
            "error": np.array(self.calls["error"], np.uint8),
            "total": np.array(self.calls["total"], np.uint32),
            "batch_flag": np.array(self.calls["batch_flag"], np.uint8),
            "origin_offsets": offsets_of(self.origins),
            "origins": np.frombuffer(b"".join(self.origins), np.uint8),
            "message_offsets": offsets_of(self.messages_of_calls),
            "message_key": np.array(self.message_keys, np.uint8).reshape(count, 16),
            "message_kind": np.full(count, MODIFY, np.uint32),
            "side_present": np.array(self.sides["side_present"], np.uint8).reshape(count, 2),
            "side_level": np.array(self.sides["side_level"], np.int32).reshape(count, 2),
            "side_trafo": np.array(self.sides["side_trafo"], np.float64).reshape(count, 2, 16),
            "side_entity": np.array(self.sides["side_entity"], np.int32).reshape(count, 2),
            "side_flag": np.array(self.sides["side_flag"], np.uint8).reshape(count, 2),
            "side_mask": np.array(self.sides["side_mask"], np.uint8).reshape(count, 2),
            "side_word_offsets": offsets_of(self.side_words),
            "side_words": joined(self.side_words, np.uint16),
        }
