#!/usr/bin/python3
"""Debian's vsftpd for the tests, with a private configuration in FOLDER, on
127.0.0.1 at a free port, printed as "PORT <n>" once it takes connections.

  vsftpd_server.py --folder FOLDER --cert PEM --key KEY

TLS as hardened servers run it: ssl_enable=YES with the control and data
connections of the anonymous user forced onto TLS, and require_ssl_reuse=YES, so
a data connection that does not resume the control connection's TLS session is
refused. The anonymous user (any password) logs in to FOLDER/root, which it
cannot write, and uploads into FOLDER/root/upload. vsftpd must be started as
root (it changes to its own unprivileged users); it ends with this script.
"""

import argparse
import ctypes
import os
import pwd
import signal
import socket
import subprocess
import sys
import time

from server_common import announce, free_port

VSFTPD = "/usr/sbin/vsftpd"
PR_SET_PDEATHSIG = 1

# One setting a line in the file.
CONFIG = "".join(setting + "\n" for setting in (
    "listen=YES listen_ipv6=NO listen_address=127.0.0.1 listen_port={port} background=NO "
    "anonymous_enable=YES local_enable=NO write_enable=YES anon_upload_enable=YES "
    "anon_mkdir_write_enable=YES anon_other_write_enable=YES anon_world_readable_only=NO "
    "anon_umask=022 anon_root={root} no_anon_password=YES secure_chroot_dir={empty} "
    "pasv_enable=YES pasv_address=127.0.0.1 pasv_min_port={pasv} pasv_max_port={pasv_end} "
    "ssl_enable=YES allow_anon_ssl=YES force_anon_logins_ssl=YES force_anon_data_ssl=YES "
    "require_ssl_reuse=YES ssl_ciphers=HIGH rsa_cert_file={cert} rsa_private_key_file={key} "
    "seccomp_sandbox=NO xferlog_enable=YES log_ftp_protocol=YES "
    "vsftpd_log_file={folder}/vsftpd.log dual_log_enable=YES").split())


def die_with_parent():
    ctypes.CDLL("libc.so.6", use_errno=True).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--folder", required=True)
    parser.add_argument("--cert", required=True)
    parser.add_argument("--key", required=True)
    args = parser.parse_args()
    if not os.access(VSFTPD, os.X_OK):
        sys.exit("vsftpd is not installed (Debian package vsftpd)")
    if os.geteuid() != 0:
        sys.exit("vsftpd must be started as root")
    folder = os.path.abspath(args.folder)
    root, empty = os.path.join(folder, "root"), os.path.join(folder, "empty")
    upload = os.path.join(root, "upload")
    for path in (root, empty, upload):
        os.makedirs(path, exist_ok=True)
    os.chmod(folder, 0o755)
    os.chmod(root, 0o755)
    ftp = pwd.getpwnam("ftp")
    os.chown(upload, ftp.pw_uid, ftp.pw_gid)
    port, pasv = free_port(), free_port()
    config = os.path.join(folder, "vsftpd.conf")
    with open(config, "w") as f:
        f.write(CONFIG.format(port=port, root=root, empty=empty, pasv=pasv,
                              pasv_end=min(pasv + 20, 65535), cert=args.cert, key=args.key,
                              folder=folder))
    os.chmod(config, 0o600)
    server = subprocess.Popen([VSFTPD, config], preexec_fn=die_with_parent)
    signal.signal(signal.SIGTERM, lambda *_: (server.kill(), sys.exit(0)))
    for _ in range(200):
        if server.poll() is not None:
            sys.exit("vsftpd ended at once (status %d)" % server.returncode)
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
            break
        except OSError:
            time.sleep(0.05)
    announce(port)
    server.wait()


if __name__ == "__main__":
    main()
