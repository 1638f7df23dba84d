"""Tests of the plugin in ParaView: KIND PLUGIN FOLDER; recordings and images of make_recordings.py stand in the folder."""

import pathlib
import sys

import numpy as np
from paraview import simple, servermanager
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkCommonCore import vtkOutputWindow
from vtkmodules.vtkIOXML import vtkXMLImageDataReader
from vtkmodules.vtkParallelCore import vtkMultiProcessController

kind, plugin, folder = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
simple.LoadPlugin(plugin, remote=False, ns=globals())


def samples_of(image):
    return vtk_to_numpy(image.GetPointData().GetScalars()).reshape(image.GetDimensions()[::-1])


def expected(name):
    reader = vtkXMLImageDataReader()
    reader.SetFileName(str(folder / name / "image.vti"))
    reader.Update()
    return samples_of(reader.GetOutput())


def local(proxy):
    return proxy.GetClientSideObject().GetOutputDataObject(0)


def filters_of(reader):
    level = GPROffsetremoval(Input=reader)
    crop = GPRTimezerocrop(Input=level, TimeZero=30)
    sums = GPRHorizontalsumup(Input=crop, Thickness=3, UseMax=1)
    migrated = GPRFkmigration(Input=sums, TimeZero=2, Permittivity=9)
    return GPRNormalizationcscan(Input=migrated, Min=0, Max=1)


def check_chain():
    """Filters one by one, and the chain's document, on the part of this process: the bits of tzmchain."""
    rank = vtkMultiProcessController.GetGlobalController().GetLocalProcessId()
    ranks = vtkMultiProcessController.GetGlobalController().GetNumberOfProcesses()
    whole = expected("line")
    reader = simple.OpenDataFile(str(folder / "line.dzt"))
    for result in (filters_of(reader), GPRChain(Input=reader, Chaindocument=str(folder / "line.json"))):
        result.UpdatePipeline()
        image = local(result)
        first, last = image.GetExtent()[4:]
        part = samples_of(image)
        assert part.shape[1:] == whole.shape[1:], (part.shape, whole.shape)
        assert np.array_equal(part, whole[first:last + 1]), (rank, first, last, np.abs(part - whole[first:last + 1]).max())
        assert ranks == 1 or len(part) < len(whole), (rank, first, last)
    print(f"rank {rank} of {ranks}: lines {first} to {last} have the bits of tzmchain", flush=True)


def check_errors():
    """What is refused is told in the output window, and gives no data."""
    told = []
    window = vtkOutputWindow()
    window.SetDisplayModeToNever()
    window.AddObserver("ErrorEvent", lambda *_: told.append(True))
    vtkOutputWindow.SetInstance(window)
    for proxy in (GPRRecording(FileNames=[str(folder / "broken.dzt")]), GPROffsetremoval(Input=simple.Wavelet())):
        told.clear()
        try:
            proxy.UpdatePipeline()
        except RuntimeError:
            pass
        expected_data = proxy.SMProxy.GetXMLName() == "TZMOffsetRemoval"  # floats of an image: taken as a block
        assert bool(told) != expected_data, proxy
        assert (local(proxy).GetNumberOfPoints() > 0) == expected_data
    vector = simple.Calculator(Input=simple.Wavelet(), Function="iHat")
    refused = GPROffsetremoval(Input=vector)
    told.clear()
    try:
        refused.UpdatePipeline()
    except RuntimeError:
        pass
    assert told and local(refused).GetNumberOfPoints() == 0
    menu = [name for name in dir(servermanager.filters) if name.startswith("GPR")]
    assert len(menu) > 30, menu
    print("errors are told; the menu has", len(menu), "filters", flush=True)


def check_picture():
    """The slab of the demo as a volume, from the state of demo.py."""
    sys.path.insert(0, str(pathlib.Path(__file__).parents[1]))
    import demo
    view = demo.show(str(folder / "demo" / "scene.f32"), globals())
    picture = folder / "slab.png"
    simple.SaveScreenshot(str(picture), view, ImageResolution=[1200, 800])
    image = simple.PNGSeriesReader(FileNames=[str(picture)])
    image.UpdatePipeline()
    pixels = samples_of_colours(local(image))
    lit = (pixels.max(axis=1) > 150).mean()
    assert 0.01 < lit < 0.6, lit  # bars, neither nothing nor a block
    print(f"{lit:.0%} of {picture} are lit", flush=True)


def samples_of_colours(image):
    return vtk_to_numpy(image.GetPointData().GetScalars())[:, :3]


{"chain": check_chain, "errors": check_errors, "picture": check_picture}[kind]()
