#!/usr/bin/env python3
"""Makes what scripts/test-driver boots: an unpacked kernel, and a memory disk with drivers, tests and plan.

    make_image.py kernel DEB FOLDER          Debian's kernel package -> FOLDER/vmlinux, FOLDER/modules/*.ko
    make_image.py disk FOLDER INIT OUT PROGRAM[=FILTER]...
                                             memory disk OUT: INIT, the modules of FOLDER, the programs with the shared
                                             objects that they need, and a plan of the tests that FILTER selects
"""
import gzip
import lzma
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tarfile

MODULES = ("common/usb-common", "core/usbcore", "usbip/usbip-core", "usbip/vhci-hcd", "class/cdc-acm")
ELF = b"\x7fELF"


def unpack(data: bytes) -> bytes:
    """Unpacks a kernel or a module, whichever way Debian has packed it."""
    if data.startswith(b"\xfd7zXZ"):
        return lzma.LZMADecompressor().decompress(data)
    if data.startswith(b"\x28\xb5\x2f\xfd"):
        # The kernel's build appends the size to the frame; zstd complains about it after unpacking everything.
        return subprocess.run(["zstd", "-dcq"], input=data, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    if data.startswith(b"\x1f\x8b"):
        return gzip.decompress(data)
    return data


def kernel_of(boot_image: bytes) -> bytes:
    """The ELF file inside a boot image, whose header has its place; the boot image itself when it has none."""
    setup_sectors = boot_image[0x1F1]
    offset, length = struct.unpack_from("<II", boot_image, 0x248)
    at = (setup_sectors + 1) * 512 + offset
    kernel = unpack(boot_image[at:at + length])
    return kernel if kernel.startswith(ELF) else boot_image


def make_kernel(package: str, folder: pathlib.Path) -> None:
    (folder / "modules").mkdir(parents=True, exist_ok=True)
    wanted = {rf"/kernel/drivers/usb/{module}\.ko(\.[a-z]+)?$": f"modules/{module.rpartition('/')[2]}.ko" for module in MODULES}
    wanted["/boot/vmlinuz-"] = "vmlinux"
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as archive:
        files = tarfile.open(fileobj=archive.stdout, mode="r|")
        for member in files:
            for pattern, name in wanted.items():
                if member.isfile() and re.search(pattern, member.name):
                    (folder / name).write_bytes(unpack(files.extractfile(member).read()))
    missing = [name for name in wanted.values() if not (folder / name).exists()]
    if missing:
        sys.exit(f"make_image: {package} lacks {' '.join(missing)}")
    (folder / "vmlinux").write_bytes(kernel_of((folder / "vmlinux").read_bytes()))


class Disk:
    """A memory disk in the format that the kernel unpacks (cpio, "newc")."""

    def __init__(self) -> None:
        self.bytes = bytearray()
        self.folders: set[str] = set()
        self.inode = 0

    def _add(self, name: str, mode: int, data: bytes = b"") -> None:
        self.inode += 1
        fields = (self.inode, mode, 0, 0, 1, 0, len(data), 0, 0, 0, 0, len(name) + 1, 0)
        self.bytes += b"070701" + b"".join(b"%08X" % field for field in fields) + name.encode() + b"\0"
        self._pad()
        self.bytes += data
        self._pad()

    def _pad(self) -> None:
        self.bytes += bytes(-len(self.bytes) % 4)

    def folder(self, name: str) -> None:
        if name and name not in self.folders:
            self.folder(name.rpartition("/")[0])
            self.folders.add(name)
            self._add(name, 0o040755)

    def file(self, name: str, data: bytes) -> None:
        self.folder(name.rpartition("/")[0])
        self._add(name, 0o100755, data)

    def finish(self) -> bytes:
        self._add("TRAILER!!!", 0)
        return bytes(self.bytes)


def shared_objects(program: str) -> set[str]:
    listed = subprocess.run(["ldd", program], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    return set(re.findall(r"(/\S+) \(0x", listed))


def tests_of(program: str, chosen: str) -> list[str]:
    listed = subprocess.run([program, "--gtest_list_tests", f"--gtest_filter={chosen}"], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    names, suite = [], ""
    for line in listed.splitlines():
        word = line.split("#")[0].strip()
        if line.startswith("  "):
            names.append(suite + word)
        elif word.endswith("."):
            suite = word
    return names


def make_disk(folder: pathlib.Path, init: str, out: str, programs: list[str]) -> None:
    disk = Disk()
    for name in ("dev", "proc", "sys", "tmp", "var/lock", "bin"):
        disk.folder(name)
    disk.file("init", pathlib.Path(init).read_bytes())
    for module in sorted((folder / "modules").glob("*.ko")):
        disk.file(f"modules/{module.name}", module.read_bytes())
    plan, objects = [], set()
    for tool in ("sh", "ls"):  # the library lists the nodes with "/bin/sh"
        path = shutil.which(tool) or f"/bin/{tool}"
        disk.file(f"bin/{tool}", pathlib.Path(path).resolve().read_bytes())
        objects |= shared_objects(path)
    for entry in programs:
        program, _, chosen = entry.partition("=")
        inside = "driver/" + pathlib.Path(program).name
        tests = tests_of(program, chosen or "*")
        if tests:
            disk.file(inside, pathlib.Path(program).read_bytes())
            objects |= shared_objects(program)
            plan += [f"/{inside} {name}" for name in tests]
    for path in sorted(objects):
        disk.file(path.lstrip("/"), pathlib.Path(path).resolve().read_bytes())
    disk.file("driver/plan", "".join(line + "\n" for line in plan).encode())
    if not plan:
        sys.exit("make_image: no test has such a name")
    pathlib.Path(out).write_bytes(disk.finish())


def main() -> None:
    if len(sys.argv) == 4 and sys.argv[1] == "kernel":
        make_kernel(sys.argv[2], pathlib.Path(sys.argv[3]))
    elif len(sys.argv) >= 6 and sys.argv[1] == "disk":
        make_disk(pathlib.Path(sys.argv[2]), sys.argv[3], sys.argv[4], sys.argv[5:])
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
