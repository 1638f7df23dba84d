"""Background removal by classes: where a mesh lies, bars across and ringing are told apart."""
import tzm
from draw import compare, prepared

before = prepared("BgRemoval", mesh=True)
compare({"a mesh near the surface": before, "classified": tzm.BgRemoval(algorithm="classify")(before)})
