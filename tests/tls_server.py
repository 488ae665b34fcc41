#!/usr/bin/env python3
"""HTTPS servers on loopback for the tests of the HTTPS client, one per certificate; ends with its parent.

usage: tls_server.py DIRECTORY

Prints "NAME PORT" for each server, then "ready" when DIRECTORY/authorities.pem holds what is to be trusted, and
afterwards "stalled" for each upload that it leaves unread.
"""

import contextlib
import os
import socket
import socketserver
import ssl
import subprocess
import sys
import threading
import time


class Connection(socketserver.StreamRequestHandler):
    """One request, read by hand so that the answer can be as broken as a test wants it."""

    def handle(self):
        with contextlib.suppress(OSError, ValueError):  # a client that goes away, which is what many tests are about
            self.request.do_handshake()
            self.serve()

    def serve(self):
        method, target, _ = self.rfile.readline().decode().split()
        headers = {}
        while line := self.rfile.readline().decode().strip():
            name, _, value = line.partition(": ")
            headers[name.lower()] = value
        path, _, argument = target.partition("?")
        if path == "/stall":
            print("stalled", flush=True)
            threading.Event().wait()
        body = self.rfile.read(int(headers.get("content-length", 0)))
        if path == "/echo":
            self.answer(201, f"{method}|{headers.get('content-type')}|".encode() + body)
        elif path == "/bytes":
            self.answer(200, b"x" * int(argument))
        elif path == "/redirect":
            self.answer(307, argument)
        elif path == "/again":
            self.answer(302, f"/again?{int(argument) - 1}" if argument != "1" else "/bytes?1")
        elif path == "/garbage":
            self.wfile.write(b"no HTTP\r\n")
        else:  # breaks off
            self.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx")
            self.rfile.read(1)

    def answer(self, status, content):
        body, extra = (b"", f"Location: {content}\r\n") if isinstance(content, str) else (content, "")
        self.wfile.write(f"HTTP/1.1 {status} Reason\r\n{extra}Content-Length: {len(body)}\r\n\r\n".encode() + body)


def make_server(certificate, name, handler=Connection):
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-subj", "/CN=Test server", "-addext", "subjectAltName=" + name, "-days", "2",
                    "-keyout", certificate, "-out", certificate + ".pem"], check=True, stderr=subprocess.DEVNULL)
    server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate + ".pem", certificate)
    server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
    return server


def main():
    parent, folder = os.getppid(), sys.argv[1]
    for certificate, name in ("good", "IP:127.0.0.1"), ("elsewhere", "DNS:elsewhere.test"), ("untrusted", "IP:127.0.0.1"):
        server = make_server(f"{folder}/{certificate}", name)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        print(certificate, server.server_address[1])
    subprocess.run("cat good.pem elsewhere.pem > authorities.pem", shell=True, check=True, cwd=folder)
    silent = socket.create_server(("127.0.0.1", 0))  # connects, never says a word
    print(f"silent {silent.getsockname()[1]}\nready", flush=True)
    while os.getppid() == parent:
        time.sleep(1)
    os._exit(0)


if __name__ == "__main__":
    main()
