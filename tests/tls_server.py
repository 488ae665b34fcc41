#!/usr/bin/env python3
"""HTTPS servers on loopback for the tests of the HTTPS client, one per kind of certificate.

usage: tls_server.py DIRECTORY

Makes an authority (DIRECTORY/authority.pem) and the certificates, prints one line "NAME PORT" for each server and then
"ready"; afterwards the NAME of each upload to /stall?NAME, which it leaves unread. Ends when its standard input does.
"""

import socket
import socketserver
import ssl
import struct
import subprocess
import sys
import threading
import urllib.parse

SIMULTANEOUS = 8
KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]


def openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, stderr=subprocess.DEVNULL)


def make_authority(path):
    openssl("req", "-x509", *KEY, "-subj", "/CN=Test authority", "-days", "2", "-keyout", path + ".key",
            "-out", path + ".pem")


def make_certificate(path, authority, name, days):
    openssl("req", *KEY, "-subj", "/CN=Test server", "-addext", "subjectAltName=" + name, "-keyout", path + ".key",
            "-out", path + ".csr")
    openssl("x509", "-req", "-in", path + ".csr", "-CA", authority + ".pem", "-CAkey", authority + ".key",
            "-copy_extensions", "copy", "-days", str(days), "-out", path + ".pem")


class Together:
    """Answers requests in groups of SIMULTANEOUS and counts how many there are at once."""

    def __init__(self):
        self.barrier = threading.Barrier(SIMULTANEOUS)
        self.lock = threading.Lock()
        self.present = self.most = 0

    def wait(self):
        with self.lock:
            self.present += 1
            self.most = max(self.most, self.present)
        self.barrier.wait()
        with self.lock:
            self.present -= 1
            return self.most


together = Together()


class Connection(socketserver.StreamRequestHandler):
    """One request, read by hand so that the answer can be as broken as a test wants it."""

    def handle(self):
        try:
            self.request.do_handshake()
            self.serve()
        except OSError:  # a client that goes away, which is what many tests are about
            pass

    def serve(self):
        request = self.rfile.readline().decode()
        if not request:
            return
        method, target, _ = request.split()
        headers = {}
        while line := self.rfile.readline().decode().strip():
            name, _, value = line.partition(":")
            headers[name.lower()] = value.strip()
        url = urllib.parse.urlsplit(target)
        argument = urllib.parse.unquote(url.query)
        getattr(self, url.path[1:])(method, headers, argument)

    def answer(self, status, body=b"", extra=""):
        head = f"HTTP/1.1 {status} Reason\r\n{extra}"
        head += "\r\n" if status == 204 else f"Content-Length: {len(body)}\r\n\r\n"
        self.wfile.write(head.encode() + body)

    def wait_for_client_to_leave(self):
        while self.rfile.read(1):
            pass

    def status(self, method, headers, argument):
        self.answer(int(argument), b"" if argument == "204" else b"body")

    def bytes(self, method, headers, argument):
        self.answer(200, b"x" * int(argument))

    def echo(self, method, headers, argument):
        body = self.rfile.read(int(headers.get("content-length", 0)))
        self.answer(200, f"{method}|{headers.get('content-type')}|".encode() + body)

    def redirect(self, method, headers, argument):
        status, location = argument.split(",", 1)
        self.answer(int(status), extra=f"Location: {location}\r\n")

    def again(self, method, headers, argument):
        left = int(argument)
        self.redirect(method, headers, f"302,/again?{left - 1}" if left > 1 else "302,/status?200")

    def slow(self, method, headers, argument):
        self.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbeginning")
        self.wait_for_client_to_leave()

    def reset(self, method, headers, argument):
        self.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nbeginning")
        self.request.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.request.close()

    def garbage(self, method, headers, argument):
        self.wfile.write(b"not HTTP at all\r\n\r\n")

    def together(self, method, headers, argument):
        self.answer(200, str(together.wait()).encode())

    def stall(self, method, headers, argument):
        print(argument, flush=True)
        threading.Event().wait()  # reads no further


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    request_queue_size = 64

    def __init__(self, certificate, connection=Connection):
        super().__init__(("127.0.0.1", 0), connection)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate + ".pem", certificate + ".key")
        self.socket = context.wrap_socket(self.socket, server_side=True, do_handshake_on_connect=False)


def main():
    folder = sys.argv[1]
    authority, stranger = folder + "/authority", folder + "/stranger"
    make_authority(authority)
    make_authority(stranger)
    for name, signer, host, days in [
        ("good", authority, "IP:127.0.0.1", 2),
        ("elsewhere", authority, "DNS:elsewhere.test", 2),
        ("expired", authority, "IP:127.0.0.1", -1),
        ("untrusted", stranger, "IP:127.0.0.1", 2),
    ]:
        make_certificate(f"{folder}/{name}", signer, host, days)
        server = Server(f"{folder}/{name}")
        threading.Thread(target=server.serve_forever, daemon=True).start()
        print(name, server.server_address[1])
    silent = socket.create_server(("127.0.0.1", 0))  # connects, never says a word
    print("silent", silent.getsockname()[1])
    closed = socket.create_server(("127.0.0.1", 0))
    print("closed", closed.getsockname()[1])
    closed.close()
    print("ready", flush=True)
    sys.stdin.read()


if __name__ == "__main__":
    main()
