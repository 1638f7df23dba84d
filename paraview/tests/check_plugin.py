"""Tests of the plugin in ParaView: KIND PLUGIN FOLDER [PROCESSES of a server]; recordings and images of make_recordings.py stand in the folder."""

import os
import pathlib
import re
import socket
import subprocess
import sys
import threading

import numpy as np
from paraview import servermanager, simple
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
    """Filters one by one, the chain's document, and the recipe of a run with the program's own configuration, on the part of this process: the bits of tzmchain."""
    rank = vtkMultiProcessController.GetGlobalController().GetLocalProcessId()
    ranks = vtkMultiProcessController.GetGlobalController().GetNumberOfProcesses()
    reader = simple.OpenDataFile(str(folder / "line.dzt"))
    for result, whole in ((filters_of(reader), expected("line")),
                          (GPRChain(Input=reader, FileName=str(folder / "line.json")), expected("line")),
                          (GPRChain(Input=reader, FileName=str(folder / "own" / "recipe.json")), expected("own"))):
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


def pixels_of(view, picture):
    simple.SaveScreenshot(str(picture), view, ImageResolution=[1200, 800])
    image = simple.PNGSeriesReader(FileNames=[str(picture)])
    image.UpdatePipeline()
    return vtk_to_numpy(local(image).GetPointData().GetScalars())[:, :3].astype(int)


def check_picture():
    """The slab of the demo as a volume, from demo.py and from the state that it keeps beside it."""
    beside = pathlib.Path(__file__).parents[1]
    sys.path.insert(0, str(beside))
    import demo
    view = demo.show(str(folder / "demo" / "scene.f32"), globals())
    demo.save_state(str(folder / "demo.pvsm"))
    pixels = pixels_of(view, folder / "slab.png")
    lit = (pixels.max(axis=1) > 150).mean()
    assert 0.01 < lit < 0.6, lit  # bars, neither nothing nor a block

    made, kept = (re.sub(r'version="[^"]*"', "", (where / "demo.pvsm").read_text()) for where in (folder, beside))
    assert made == kept, "paraview/demo.pvsm isn't what demo.py makes: write it anew"
    simple.LoadState(str(beside / "demo.pvsm"), data_directory=str(folder / "demo"))
    loaded, = (other for other in simple.GetRenderViews() if other.SMProxy is not view.SMProxy)
    difference = np.abs(pixels_of(loaded, folder / "state.png") - pixels).mean()
    assert difference < 0.5, difference  # a renderer's rounding, of 255
    print(f"{lit:.0%} of the slab's picture are lit; the state shows the same", flush=True)


def started(command):
    """A server and its port. A port that is free now may be taken by the time the server asks for it: another one then."""
    # The client is an MPI process itself, whose variables aren't the server's.
    environment = {name: value for name, value in os.environ.items()
                   if "ALLOW" in name or not name.startswith(("OMPI_", "ORTE_", "PMIX_"))}
    for _ in range(5):
        with socket.socket() as probe:
            probe.bind(("localhost", 0))
            port = probe.getsockname()[1]
        server = subprocess.Popen([*command, f"--server-port={port}"], env=environment, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        for line in server.stdout:
            if "Accepting connection" in line:
                threading.Thread(target=server.stdout.read, daemon=True).start()  # it may write on
                return server, port
        server.wait()
    raise RuntimeError("no server came up")


def check_server():
    """As a client of a server of so many processes: the bits of tzmchain."""
    ranks = int(sys.argv[4])
    server, port = started(["mpirun", "--oversubscribe", "-np", str(ranks), "pvserver"])
    try:
        simple.Connect("localhost", port)
        simple.LoadPlugin(plugin, remote=True, ns=globals())
        reader = simple.OpenDataFile(str(folder / "line.dzt"))
        for result in (filters_of(reader), GPRChain(Input=reader, FileName=str(folder / "line.json"))):
            result.UpdatePipeline()
            whole = np.full_like(expected("line"), np.nan)
            for rank in range(ranks):  # each holds its lines
                part = servermanager.Fetch(result, rank)
                whole[part.GetExtent()[4]:part.GetExtent()[5] + 1] = samples_of(part)
            assert np.array_equal(whole, expected("line"))
    finally:
        server.terminate()
        server.wait()
    print(f"a server of {ranks}: the bits of tzmchain", flush=True)
    os._exit(0)  # the session that is left has no server to take its leave of


{"chain": check_chain, "errors": check_errors, "picture": check_picture, "server": check_server}[kind]()
