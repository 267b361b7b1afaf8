"""A directory server of its own for each test, in a folder of the test's, on a local socket.

    configure(folder)                   writes the server's configuration
    import_offline(folder, path)        loads a file while the server is down, in any order
    with running(folder) as address:    the server runs as long as the block does
        add(address, path)              loads a file through the server, parents first
        search(address, result, ...)    has ldapsearch write what it finds to the file `result`
"""

import contextlib
import os
import pathlib
import socket
import subprocess
import time
import urllib.parse

FOLDER = pathlib.Path(__file__).resolve().parent
START_LIMIT_SECONDS = 60
MANAGER = ["-x", "-D", "cn=manager", "-w", "secret"]

CONFIGURATION = """\
include /etc/ldap/schema/core.schema
include /etc/ldap/schema/cosine.schema
include /etc/ldap/schema/inetorgperson.schema
include "{schema}"
modulepath /usr/lib/ldap
moduleload back_mdb

database mdb
suffix ""
rootdn cn=manager
rootpw secret
directory "{folder}/database"
maxsize 4294967296
dbnosync
index objectClass eq
"""


def configure(folder):
    (folder / "database").mkdir()
    (folder / "slapd.conf").write_text(
        CONFIGURATION.format(schema=FOLDER / "registry.schema", folder=folder))


def run(command, **options):
    # Neither the user's nor the system's settings of the client tools count.
    environment = os.environ | {"LDAPNOINIT": "1"}
    options.setdefault("stdout", subprocess.PIPE)
    result = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, check=False, **options)
    if result.returncode != 0:
        told = result.stderr.decode("utf-8", "backslashreplace")
        raise RuntimeError(f"{command[0]} ended with status {result.returncode}:\n{told}")


def import_offline(folder, path, first_line=1):
    run(["/usr/sbin/slapadd", "-q", "-f", str(folder / "slapd.conf"), "-b", "",
         "-j", str(first_line), "-l", str(path)])


@contextlib.contextmanager
def running(folder):
    path = str(folder / "socket")
    address = "ldapi://" + urllib.parse.quote(path, safe="")
    # Should the test be killed, the system ends the server.
    command = ["setpriv", "--pdeathsig", "KILL", "/usr/sbin/slapd", "-d", "0", "-h", address,
               "-f", str(folder / "slapd.conf")]
    with open(folder / "log", "wb") as log:
        server = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    try:
        wait_until_it_listens(server, path, folder / "log")
        yield address
    finally:
        server.terminate()
        server.wait()


def wait_until_it_listens(server, path, log):
    limit = time.monotonic() + START_LIMIT_SECONDS
    while True:
        with socket.socket(socket.AF_UNIX) as attempt:
            if attempt.connect_ex(path) == 0:
                return
        if server.poll() is not None or time.monotonic() > limit:
            raise RuntimeError("the server did not start:\n" + log.read_text())
        time.sleep(0.02)


def add(address, path):
    run(["ldapadd", *MANAGER, "-H", address, "-f", str(path)])


def search(address, result, *arguments):
    with open(result, "wb") as stream:
        run(["ldapsearch", "-LLL", "-o", "ldif-wrap=no", *MANAGER, "-H", address, *arguments],
            stdout=stream)
