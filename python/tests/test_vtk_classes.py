"""The VTK classes in VTK's Python: bits of the module tzm, errors, and a block shared by processes."""

import json
import os
import shutil
import subprocess
import sys

import numpy as np
import pytest
import tzm

tzmvtk = pytest.importorskip("tzmvtk")
from vtkmodules.util.numpy_support import vtk_to_numpy  # noqa: E402

DOCUMENT = {"chain": [{"algorithm": "OffsetRemoval"}, {"algorithm": "TimeZeroDetection"},
                      {"algorithm": "HorizontalSumUp", "parameters": {"Thickness": 3}},
                      {"algorithm": "FkMigration"}, {"algorithm": "NormalizationCscan"}]}

SHARED = """
import sys
from mpi4py import MPI
import numpy as np
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkParallelCore import vtkMultiProcessController
from vtkmodules.vtkParallelMPI import vtkMPIController
import tzmvtk
controller = vtkMPIController()
controller.Initialize()
vtkMultiProcessController.SetGlobalController(controller)
recording, result, document = sys.argv[1:]
reader = tzmvtk.vtkTZMRecordingReader()
reader.SetFileName(recording)
chain = tzmvtk.vtkTZMChainFilter()
chain.SetDocument(document)
chain.SetInputConnection(reader.GetOutputPort())
last = tzmvtk.vtkTZMNormalizationCscanFilter()
last.SetMax(100)
last.SetInputConnection(chain.GetOutputPort())
rank, ranks = controller.GetLocalProcessId(), controller.GetNumberOfProcesses()
last.UpdatePiece(rank, ranks, 0)
image = last.GetOutput()
samples = vtk_to_numpy(image.GetPointData().GetScalars()).reshape(image.GetDimensions()[::-1])
np.savez(f"{result}.{rank}.npz", samples=samples, first=image.GetExtent()[4],
         read=reader.GetOutput().GetDimensions()[2])
controller.Finalize()
"""


def samples_of(filter_):
    image = filter_.GetOutput()
    return vtk_to_numpy(image.GetPointData().GetScalars()).reshape(image.GetDimensions()[::-1])


def errors_of(filter_):
    errors = []

    def keep(caller, event, text):
        errors.append(text)

    keep.CallDataType = "string0"
    filter_.AddObserver("ErrorEvent", keep)
    return errors


@pytest.fixture(scope="module")
def recording(tmp_path_factory):
    block = tzm.demo(lanes=5, ascans=40)
    path = tmp_path_factory.mktemp("vtk") / "survey.f32"
    block.write(path)
    return path


def test_filters_give_the_bits_of_the_module(recording):
    reader = tzmvtk.vtkTZMRecordingReader()
    reader.SetFileName(str(recording))
    removal = tzmvtk.vtkTZMOffsetRemovalFilter()
    removal.SetInputConnection(reader.GetOutputPort())
    migration = tzmvtk.vtkTZMFkMigrationFilter()
    migration.SetTimeZero(125)
    migration.SetPermittivity(9)
    migration.SetInputConnection(removal.GetOutputPort())
    migration.Update()
    expected = tzm.run(recording, ["OffsetRemoval", tzm.FkMigration(time_zero=125, permittivity=9)])
    assert np.array_equal(samples_of(migration), expected.data)
    assert migration.GetPermittivity() == 9
    assert "permittivity" in migration.SetPermittivity.__doc__

    errors = errors_of(migration)
    migration.SetPermittivity(-1)
    migration.Update()
    assert "needs a permittivity above 0" in errors[0]
    assert migration.GetOutput().GetNumberOfPoints() == 0


def test_processes_share_a_block_to_the_bits_of_one(recording, tmp_path):
    pytest.importorskip("mpi4py")
    mpirun = shutil.which("mpirun")
    if not mpirun:
        pytest.skip("no mpirun")
    script = tmp_path / "shared.py"
    script.write_text(SHARED)
    parts = {}
    for ranks in (1, 2, 3):
        result = tmp_path / f"result{ranks}"
        subprocess.run([mpirun, "--allow-run-as-root", "--oversubscribe", "-np", str(ranks), sys.executable, script,
                        recording, result, json.dumps(DOCUMENT)], check=True, timeout=300,
                       env={**os.environ, "OMP_NUM_THREADS": "1"})
        parts[ranks] = [np.load(f"{result}.{rank}.npz") for rank in range(ranks)]
    whole = parts[1][0]["samples"]
    image = tzm.run(recording, DOCUMENT)
    usable = image.shape[2]
    assert np.array_equal(whole[:, :, :usable], image.data * np.float32(100))
    for ranks in (2, 3):
        end = 0
        for part in parts[ranks]:
            first, count = int(part["first"]), len(part["samples"])
            assert first <= end and np.array_equal(part["samples"], whole[first:first + count])
            end = first + count
        assert end == len(whole)
    assert all(part["read"] < len(whole) for part in parts[2])  # none has seen all of it
