# The Debian packages that the scripts need, and how they are had. Read by the other scripts.
TZM_BUILD_PACKAGES="g++ cmake make pkg-config libvtk9-dev python3-vtk9 libjsoncpp-dev libcli11-dev libcairo2-dev libpng-dev libssl-dev libsegyio-dev libhdf5-dev libproj-dev zlib1g-dev python3-dev python3-numpy pybind11-dev"
TZM_TEST_PACKAGES="libgtest-dev dpkg-dev file python3-jsonschema chromium chromium-driver python3-selenium"
TZM_PYTHON_TEST_PACKAGES="python3-pytest python3-mpi4py mpi-default-bin python3-scipy python3-matplotlib python3-xarray python3-distributed python3-zarr python3-tqdm python3-nbformat python3-nbconvert python3-ipykernel python3-pip python3-setuptools python3-wheel mypy"
TZM_BENCH_PACKAGES="libbenchmark-dev libfftw3-dev"
TZM_FUZZ_PACKAGES="clang libclang-rt-dev libomp-dev"
# In the root of scripts/paraview.
TZM_PARAVIEW_PACKAGES="g++ cmake make pkg-config paraview-dev python3-paraview python3-numpy mpi-default-bin qtbase5-dev qttools5-dev libqt5svg5-dev libqt5x11extras5-dev qtxmlpatterns5-dev-tools libqt5opengl5-dev libjsoncpp-dev libssl-dev libsegyio-dev libhdf5-dev libproj-dev xvfb xauth"

# Installs those of the named packages that are missing; asks for root only then.
need_packages() {
    missing=""
    for package in "$@"; do
        case "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" in
        *" installed") ;;
        *) missing="$missing $package" ;;
        esac
    done
    [ -z "$missing" ] && return 0
    root=""
    [ "$(id -u)" -eq 0 ] || root="sudo"
    echo "Installing:$missing"
    $root apt-get update -qq
    $root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
}
