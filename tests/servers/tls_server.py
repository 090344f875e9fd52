#!/usr/bin/env python3
"""A TLS server with three faulty certificates, for tests that need real https.

    tls_server.py start FOLDER   makes the certificates, starts the server in the background, returns once it listens
    tls_server.py stop FOLDER    ends it

FOLDER/ports.txt then holds one line per certificate, "NAME PORT":

    self_signed   right host name, signed by itself
    wrong_name    issued for another host
    expired       ended long ago

Every request is answered with 200 and one line of text, and leaves a line "NAME METHOD TARGET" in FOLDER/requests.txt.
The server ends when its ports.txt is taken away, and by itself after an hour without a connection.
"""
import os
import socket
import ssl
import subprocess
import sys
import threading
import time

IDLE_SECONDS = 3600
SUBJECTS = {
    "self_signed": "statistics.nexlet.invalid",
    "wrong_name": "somebody.else.invalid",
    "expired": "statistics.nexlet.invalid",
}
LONG_AGO = ("20200101000000Z", "20200201000000Z")
IN_FORCE = ("20200101000000Z", "20991231000000Z")
BODY = b"hello over tls\n"
ANSWER = b"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: %d\r\n\r\n" % len(BODY) + BODY


def openssl(*arguments):
    subprocess.run(("openssl",) + arguments, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def make_certificate(folder, name):
    def path(ending):
        return os.path.join(folder, name + ending)

    if os.path.exists(path(".pem")):
        return
    host = SUBJECTS[name]
    openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", path(".key"), "-out", path(".csr"), "-subj", "/CN=" + host)
    # Only "ca" writes a certificate whose time is over.
    with open(path(".cnf"), "w", encoding="utf-8") as file:
        file.write(f"""[ca]
default_ca = self
[self]
database = {path(".db")}
new_certs_dir = {folder}
rand_serial = yes
unique_subject = no
default_md = sha256
policy = any
x509_extensions = extensions
[any]
commonName = supplied
[extensions]
subjectAltName = DNS:{host}
""")
    open(path(".db"), "w", encoding="utf-8").close()
    begin, end = LONG_AGO if name == "expired" else IN_FORCE
    openssl("ca", "-batch", "-selfsign", "-notext", "-config", path(".cnf"), "-keyfile", path(".key"),
            "-in", path(".csr"), "-out", path(".new"), "-startdate", begin, "-enddate", end)
    os.replace(path(".new"), path(".pem"))


class Server:
    def __init__(self, folder):
        self.folder = folder
        self.lock = threading.Lock()
        self.last_use = time.monotonic()

    def note(self, line):
        with self.lock, open(os.path.join(self.folder, "requests.txt"), "a", encoding="utf-8") as file:
            file.write(line + "\n")

    def answer(self, name, context, connection):
        try:
            connection.settimeout(30)
            with context.wrap_socket(connection, server_side=True) as stream:
                head = b""
                while b"\r\n\r\n" not in head:
                    piece = stream.recv(8192)
                    if not piece:
                        return
                    head += piece
                method, target = head.split(b" ", 2)[:2]
                self.note(f"{name} {method.decode()} {target.decode()}")
                stream.sendall(ANSWER)
        except (OSError, ValueError):
            pass  # The client went away or refused the certificate; the test looks at its own side.
        finally:
            connection.close()

    def accept(self, name, listener):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(os.path.join(self.folder, name + ".pem"), os.path.join(self.folder, name + ".key"))
        while True:
            connection, _ = listener.accept()
            self.last_use = time.monotonic()
            threading.Thread(target=self.answer, args=(name, context, connection), daemon=True).start()

    def run(self):
        lines = ""
        for name in SUBJECTS:
            listener = socket.create_server(("127.0.0.1", 0))
            lines += f"{name} {listener.getsockname()[1]}\n"
            threading.Thread(target=self.accept, args=(name, listener), daemon=True).start()
        # The file appears complete: a reader that waits for it reads every port.
        ports = os.path.join(self.folder, "ports.txt")
        with open(ports + ".new", "w", encoding="utf-8") as file:
            file.write(lines)
        os.replace(ports + ".new", ports)
        while time.monotonic() - self.last_use < IDLE_SECONDS:
            time.sleep(0.2)
            try:
                with open(ports, encoding="utf-8") as file:
                    if file.read() != lines:
                        return
            except OSError:
                return


def stop(folder):
    for name in ("ports.txt", "requests.txt"):
        try:
            os.remove(os.path.join(folder, name))
        except OSError:
            pass


def start(folder):
    os.makedirs(folder, exist_ok=True)
    stop(folder)
    for name in SUBJECTS:
        make_certificate(folder, name)
    # A session of its own and no inherited output: a reader of our output must not wait for it.
    server = subprocess.Popen([sys.executable, os.path.abspath(__file__), "serve", folder], stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    while not os.path.exists(os.path.join(folder, "ports.txt")):
        if server.poll() is not None:
            sys.exit("The TLS server ended before it listened.")
        time.sleep(0.02)


def main():
    actions = {"start": start, "stop": stop, "serve": lambda folder: Server(folder).run()}
    if len(sys.argv) != 3 or sys.argv[1] not in actions:
        sys.exit(__doc__)
    actions[sys.argv[1]](os.path.abspath(sys.argv[2]))


if __name__ == "__main__":
    main()
