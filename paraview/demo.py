"""A recording as a volume: the standard chain on it, its strongest echoes. A script for pvpython:

    tzmchain demo --out demo && pvpython paraview/demo.py PLUGIN demo/scene.f32 slab.png    # or demo.pvsm, a state

or, on many processes, mpirun -np 8 pvbatch paraview/demo.py ...
"""

import pathlib
import sys
from xml.etree import ElementTree

from paraview import simple


def show(recording, plugin, permittivity=None):
    """A view of the image of a recording. `plugin` holds the names that LoadPlugin has given."""
    reader = simple.OpenDataFile(recording)
    chain = plugin["GPRChain"](Input=reader)
    if permittivity:
        chain.Permittivity = permittivity
    chain.UpdatePipeline()
    bounds = chain.GetDataInformation().GetBounds()

    view = simple.CreateRenderView()
    simple.AssignViewToLayout(view, simple.CreateLayout("Slab"))  # without one a state shows no view in a window
    view.UseColorPaletteForBackground = 0
    view.BackgroundColorMode = "Single Color"
    view.Background = [0.06, 0.06, 0.08]
    view.ViewSize = [1200, 800]
    display = simple.Show(chain, view)
    # Times become depths, in m like the other axes.
    scale = [0.299792458 / 2 / (permittivity or 6.5) ** 0.5, 1, 1]
    display.Scale = scale
    display.SetRepresentationType("Volume")
    simple.ColorBy(display, ("POINTS", "amplitude"))
    display.RescaleTransferFunctionToDataRange(False, True)  # the colours and opacities of the plugin
    # Samples run down; the eye stands above the surface and to the side.
    centre = [(bounds[2 * i] + bounds[2 * i + 1]) / 2 * scale[i] for i in range(3)]
    size = sum(((bounds[2 * i + 1] - bounds[2 * i]) * scale[i]) ** 2 for i in range(3)) ** 0.5
    simple.ResetCamera(view)
    view.CameraViewUp = [-1, 0, 0]
    view.CameraFocalPoint = view.CenterOfRotation = centre
    view.CameraPosition = [c + size * way for c, way in zip(centre, (-0.75, -1.25, -0.8))]
    simple.Render(view)
    return view


# What `show` decides on; ParaView has the rest from its defaults.
KEPT = {
    "TZMRecordingReader": ("FileNames",),
    "TZMChain": ("Input", "FileName", "Permittivity"),
    "PVLookupTable": ("RGBPoints", "ColorSpace", "ScalarOpacityFunction", "ScalarRangeInitialized",
                      "AutomaticRescaleRangeMode"),
    "PiecewiseFunction": ("Points", "ScalarRangeInitialized"),
    "UniformGridRepresentation": ("Input", "Visibility", "Representation", "Scale", "ColorArrayName", "LookupTable",
                                  "ScalarOpacityFunction", "ScalarOpacityUnitDistance"),
    "ViewLayout": (),
    "RenderView": ("Representations", "ViewSize", "UseColorPaletteForBackground", "BackgroundColorMode", "Background",
                   "CameraViewUp", "CameraFocalPoint", "CameraPosition", "CenterOfRotation"),
}


def save_state(path):
    """What `show` made, as a state that is short, names files without their folder and fits every machine."""
    simple.SaveState(path)
    tree = ElementTree.parse(path)
    state = tree.getroot().find("ServerManagerState")
    proxies = {proxy.get("id"): proxy for proxy in state.iter("Proxy") if proxy.get("type") in KEPT}
    used, reached = [], [key for key, proxy in proxies.items() if proxy.get("type") == "ViewLayout"]
    while reached:  # functions that nothing shows are left out
        key = reached.pop()
        used.append(key)
        proxy = proxies[key]
        reached += [item.get("view") for item in proxy.iter("Item")]
        for property_ in proxy.findall("Property"):
            if property_.get("name") not in KEPT[proxy.get("type")]:
                proxy.remove(property_)
                continue
            for domain in property_.findall("Domain"):
                property_.remove(domain)
            reached += [p.get("value") for p in property_.findall("Proxy")
                        if p.get("value") in proxies and p.get("value") not in used + reached]
            if property_.get("name") == "FileNames":
                for element in property_:
                    element.set("value", pathlib.PurePath(element.get("value")).name)
    for child in list(state):
        items = [i for i in child.findall("Item") if i.get("id") in used] if child.tag == "ProxyCollection" else []
        for item in set(child) - set(items):
            if child.tag == "ProxyCollection":
                child.remove(item)
        if not (child.tag == "Proxy" and child.get("id") in used or items):
            state.remove(child)
    numbers = {key: str(1 + i) for i, key in enumerate(sorted(used, key=int))}
    for element in state.iter():
        if element.tag == "Property":
            element.attrib.pop("id")
        for name in ("id", "value", "view"):
            if element.tag in ("Proxy", "Item") and name in element.attrib:
                element.set(name, numbers[element.get(name)])
    ElementTree.indent(tree)
    tree.write(path)


if __name__ == "__main__":
    PLUGIN, RECORDING, RESULT = sys.argv[1:]
    simple.LoadPlugin(PLUGIN, remote=False, ns=globals())
    VIEW = show(RECORDING, globals())
    if RESULT.endswith(".pvsm"):
        save_state(RESULT)
    else:
        simple.SaveScreenshot(RESULT, VIEW, ImageResolution=[1200, 800])
