"""Tests of the plugin in ParaView: KIND PLUGIN FOLDER; recordings and images of make_recordings.py stand in the folder."""

import pathlib
import sys

import numpy as np
from paraview import simple
from vtkmodules.util.numpy_support import vtk_to_numpy
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
    level = GPROffsetRemoval(Input=reader)
    crop = GPRTimeZeroCrop(Input=level, TimeZero=30)
    sums = GPRHorizontalSumUp(Input=crop, Thickness=3, UseMax=1)
    migrated = GPRFkMigration(Input=sums, TimeZero=2, Permittivity=9)
    return GPRNormalizationCscan(Input=migrated, Min=0, Max=1)


def check_chain():
    """Filters one by one, and the chain's document, on the part of this process: the bits of tzmchain."""
    rank = vtkMultiProcessController.GetGlobalController().GetLocalProcessId()
    ranks = vtkMultiProcessController.GetGlobalController().GetNumberOfProcesses()
    whole = expected("line")
    reader = simple.OpenDataFile(str(folder / "line.dzt"))
    for result in (filters_of(reader), GPRChain(Input=reader, FileName=str(folder / "line.json"))):
        result.UpdatePipeline()
        image = local(result)
        first, last = image.GetExtent()[4:]
        part = samples_of(image)
        assert part.shape[1:] == whole.shape[1:], (part.shape, whole.shape)
        assert np.array_equal(part, whole[first:last + 1]), (rank, first, last, np.abs(part - whole[first:last + 1]).max())
        assert ranks == 1 or len(part) < len(whole), (rank, first, last)
    print(f"rank {rank} of {ranks}: lines {first} to {last} have the bits of tzmchain", flush=True)


def check_errors():
    """What is refused is told, and gives no data."""
    for proxy, refused in ((GPRRecording(FileNames=[str(folder / "broken.dzt")]), True),
                           (GPROffsetRemoval(Input=simple.Wavelet()), False),  # floats, taken as a block
                           (GPROffsetRemoval(Input=simple.Wavelet(WholeExtent=[0, 9, 0, 0, 0, 9])), True)):
        told = []
        proxy.GetClientSideObject().AddObserver("ErrorEvent", lambda *_, told=told: told.append(True))
        try:
            proxy.UpdatePipeline()
        except RuntimeError:
            pass
        # ParaView asks a reader when it is made, ahead of the observer.
        assert proxy.SMProxy.GetXMLName() == "TZMRecordingReader" or bool(told) == refused, proxy
        assert (local(proxy).GetNumberOfPoints() == 0) == refused, proxy
    menu = [name for name in globals() if name.startswith("GPR")]
    assert len(menu) > 30, menu
    print("errors are told; there are", len(menu), "readers and filters", flush=True)


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
