"""The library's VTK classes for VTK's own Python: a filter for each algorithm, chains, and a reader of recordings.

    from tzmvtk import vtkTZMRecordingReader, vtkTZMFkMigrationFilter
"""

import vtkmodules.vtkCommonExecutionModel  # noqa: F401  the bases of the classes below
from .vtkTZMFilters import *  # noqa: F401,F403
