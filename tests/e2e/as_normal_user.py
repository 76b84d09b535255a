#!/usr/bin/python3
"""Runs an end-to-end test script as a normal user, the way a developer
without root runs it: inside a user namespace of its own (netns.py).

Usage: as_normal_user.py DMSD SCRIPT [ARGS...]

Run as a normal user, it simply runs SCRIPT DMSD ARGS. Run as root (as CI
does), it first copies dmsd, the project libraries it loads and the e2e
scripts into a world-readable temporary folder (the build and source trees
may be private to root), then runs them as user nobody with no
capabilities. Either way SCRIPT has to find its own way to namespaces.
"""
import os
import shutil
import subprocess
import sys
import tempfile

NOBODY = 65534


def project_libraries(binary):
    """The shared libraries of `binary` that live outside the system
    folders, i.e. the ones built with it."""
    out = subprocess.run(["ldd", binary], check=True, capture_output=True, text=True).stdout
    found = []
    for line in out.splitlines():
        parts = line.split("=>")
        if len(parts) != 2:
            continue
        path = parts[1].strip().split(" (")[0]
        if path.startswith("/") and not path.startswith(("/lib", "/usr/lib")):
            found.append(path)
    return found


def main():
    if len(sys.argv) < 3:
        sys.stderr.write(__doc__)
        return 2
    dmsd, script, rest = sys.argv[1], sys.argv[2], sys.argv[3:]
    if os.geteuid() != 0:
        os.execv(sys.executable, [sys.executable, script, dmsd] + rest)

    work = tempfile.mkdtemp(prefix="dms-user-")
    try:
        os.chmod(work, 0o755)
        libs = os.path.join(work, "lib")
        os.mkdir(libs)
        for lib in project_libraries(dmsd):
            shutil.copy(lib, libs)
        shutil.copy(dmsd, work)
        scripts = os.path.join(work, "e2e")
        shutil.copytree(os.path.dirname(os.path.abspath(script)), scripts)
        for root, dirs, files in os.walk(work):
            for name in dirs + files:
                os.chmod(os.path.join(root, name), 0o755)
        # Arguments that name the e2e folder point at the copy.
        source = os.path.dirname(os.path.abspath(script))
        rest = [scripts if os.path.abspath(a) == source else a for a in rest]
        # Sanitizer options name suppression files in the e2e folder.
        env = {k: v.replace(source, scripts) for k, v in os.environ.items()}
        env.update(LD_LIBRARY_PATH=libs, HOME=work, TMPDIR="/tmp")
        env.pop("XDG_DATA_HOME", None)
        cmd = ["setpriv", "--reuid=%d" % NOBODY, "--regid=%d" % NOBODY, "--clear-groups",
               "--inh-caps=-all", "/usr/bin/python3",
               os.path.join(scripts, os.path.basename(script)),
               os.path.join(work, os.path.basename(dmsd))] + rest
        return subprocess.run(cmd, env=env, cwd=work).returncode
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
