"""Strict JSON parsing for the checkers of vosdump's documents: UTF-8, no duplicate keys,
no bare NaN or Infinity."""
import json


def _strict_pairs(pairs):
    keys = [k for k, _ in pairs]
    if len(keys) != len(set(keys)):
        raise ValueError("duplicate key in %r" % keys)
    return dict(pairs)


def _refuse_constant(name):
    raise ValueError("bare %s is not JSON" % name)


def load(raw):
    """The document in the bytes `raw`; raises ValueError where they are not strict JSON."""
    return json.loads(raw.decode("utf-8"), object_pairs_hook=_strict_pairs,
                      parse_constant=_refuse_constant)
