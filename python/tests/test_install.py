"""The package installs into a prefix and imports from there, finding the
module where the install puts it (or where SARVIK_MODULE says)."""

import os
import subprocess
import sys

import pytest

BUILD = os.environ.get("SARVIK_PY_BUILD_DIR")
CMAKE = os.environ.get("SARVIK_PY_CMAKE", "cmake")


@pytest.mark.skipif(not BUILD, reason="run through ctest, which names the build folder")
def test_installed_package_imports_and_runs(tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run([CMAKE, "--install", BUILD, "--prefix", str(prefix), "--component", "python"],
                   check=True, capture_output=True, timeout=300)
    package = prefix / os.environ["SARVIK_PY_PACKAGE_INSTALL_DIR"] / "sarvik"
    assert (package / "__init__.py").exists() and list(package.glob("_sarvik*.so"))
    paths = (package / "_paths.py").read_text()
    # Baked at configure time for the configured prefix, not for this one.
    assert "/" + os.environ["SARVIK_PY_MODULE_INSTALL_DIR"] + "/libSarvikCommonDriver.so" in paths
    script = ("import sarvik\n"
              "with sarvik.Context() as ctx:\n"
              "    print(sarvik.__file__, len(ctx.devices()))\n")
    env = dict(os.environ, PYTHONPATH=str(package.parent))
    out = subprocess.run([sys.executable, "-c", script], env=env, cwd=tmp_path, capture_output=True, text=True,
                         timeout=120, check=True).stdout.split()
    assert out[0].startswith(str(package)) and out[1] == "2"
