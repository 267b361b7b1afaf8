"""Random exports: each generator makes the bytes of one from its seed, always the same ones.

    well-formed  must migrate without an error
    hostile      a well-formed export with damages
    crowded      a few users and groups whose names and lines get into each other's way
    sound        nothing is to be found in it
    broken       a sound export with a damage or a few

`alike` writes exports in which many entries or lines have something in common.
"""

from lib.generators import broken, crowded, hostile, sound, well_formed

MIGRATING = {"well-formed": lambda seed: well_formed.text_of(well_formed.make(seed)),
             "hostile": hostile.make, "crowded": crowded.make}
PROFILES = {"broken": broken.make, "sound": sound.make, **MIGRATING}
