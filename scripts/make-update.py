#!/usr/bin/env python3
"""Builds what an update needs, signed with a P-256 key (a PEM file for `openssl dgst -sign`):

  make-update.py sign KEY TEXT                      prints the 128-digit r||s signature of TEXT
  make-update.py manifest KEY TIER VERSION URL ZIP  prints the signed manifest of an archive
  make-update.py archive KEY VERSION APPDIR ZIP     writes the zip: APPDIR as "quorvane/" with its signed
                                                    file list
"""
import hashlib
import os
import stat
import subprocess
import sys
import zipfile

ROOT = "quorvane"
LIST, LIST_SIG = ".qvn-files", ".qvn-files.sig"


def der_to_raw(der):
    # SEQUENCE { INTEGER r, INTEGER s }, each turned into 32 big-endian bytes.
    assert der[0] == 0x30
    i = 2 if der[1] < 0x80 else 2 + (der[1] & 0x7F)
    out = b""
    for _ in range(2):
        assert der[i] == 0x02
        n = der[i + 1]
        value = der[i + 2:i + 2 + n].lstrip(b"\0")
        out += value.rjust(32, b"\0")
        i += 2 + n
    return out


def sign(key, payload):
    der = subprocess.run(["openssl", "dgst", "-sha256", "-sign", key], input=payload, capture_output=True,
                         check=True).stdout
    return der_to_raw(der).hex()


def sha256_file(path):
    h = hashlib.sha256()
    with open(path, "rb") as f:
        for block in iter(lambda: f.read(65536), b""):
            h.update(block)
    return h.hexdigest()


def file_list(version, appdir):
    lines = []
    for dirpath, dirnames, filenames in os.walk(appdir):
        for name in dirnames + filenames:
            full = os.path.join(dirpath, name)
            rel = os.path.relpath(full, appdir)
            if rel in (LIST, LIST_SIG):
                continue
            st = os.lstat(full)
            if stat.S_ISLNK(st.st_mode):
                lines.append((rel, "l\t%s\t%s" % (os.readlink(full), rel)))
            elif stat.S_ISDIR(st.st_mode):
                lines.append((rel, "d\t%s" % rel))
            else:
                mode = "755" if st.st_mode & 0o100 else "644"
                lines.append((rel, "f\t%s\t%s\t%s" % (sha256_file(full), mode, rel)))
    lines.sort(key=lambda x: x[0].encode())
    return "version\t%s\n" % version + "".join(l + "\n" for _, l in lines)


def add_tree(z, appdir, prefix):
    for dirpath, dirnames, filenames in os.walk(appdir):
        dirnames.sort()
        for name in sorted(dirnames + filenames):
            full = os.path.join(dirpath, name)
            arc = prefix + os.path.relpath(full, appdir)
            st = os.lstat(full)
            if stat.S_ISLNK(st.st_mode):
                info = zipfile.ZipInfo(arc)
                info.external_attr = (0o120777 << 16)
                z.writestr(info, os.readlink(full))
            elif stat.S_ISDIR(st.st_mode):
                info = zipfile.ZipInfo(arc + "/")
                info.external_attr = (0o40755 << 16) | 0x10
                z.writestr(info, b"")
            else:
                z.write(full, arc)


def archive(key, version, appdir, out):
    listing = file_list(version, appdir)
    with open(os.path.join(appdir, LIST), "w") as f:
        f.write(listing)
    with open(os.path.join(appdir, LIST_SIG), "w") as f:
        f.write(sign(key, b"QVN-FILES-1|" + listing.encode()) + "\n")
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as z:
        info = zipfile.ZipInfo(ROOT + "/")
        info.external_attr = (0o40755 << 16) | 0x10
        z.writestr(info, b"")
        add_tree(z, appdir, ROOT + "/")


def manifest(key, tier, version, url, zip_path):
    digest = sha256_file(zip_path)
    sig = sign(key, ("QVN-UPDATE-1|%s|%s|%s|%s" % (tier, version, digest, url)).encode())
    return '{"tier":"%s","version":"%s","url":"%s","sha256":"%s","sig":"%s"}\n' % (tier, version, url, digest, sig)


def main(argv):
    if len(argv) == 4 and argv[1] == "sign":
        print(sign(argv[2], argv[3].encode()))
    elif len(argv) == 7 and argv[1] == "manifest":
        sys.stdout.write(manifest(*argv[2:]))
    elif len(argv) == 6 and argv[1] == "archive":
        archive(*argv[2:])
    else:
        sys.stderr.write(__doc__)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
