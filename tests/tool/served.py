"""A running `tessaron serve`, and a client of it."""

import http.client
import json
import re
import signal
import socket
import ssl
import subprocess

from support import TOOL


class Served:
    """Serves a collection until `stop`; `cookie` is what its first address has given."""

    def __init__(self, folder, *arguments, tls=None):
        self.process = subprocess.Popen([TOOL, "serve", *map(str, arguments)], cwd=folder, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip()
        if not self.address:
            raise RuntimeError(self.process.communicate()[1])
        self.host = re.match(r"https?://([^/]+)/", self.address)[1]
        self.port = int(self.host.rpartition(":")[2])
        self.tls = tls
        self.cookie = ""
        if "token=" in self.address:
            first = self.ask("GET", self.address[self.address.index("/?"):])
            self.cookie = first.headers["Set-Cookie"].partition(";")[0]

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=30)
        return self.tls.wrap_socket(connection, server_hostname="localhost") if self.tls else connection

    def ask(self, method, target, body=None, **headers):
        """One request; the answer has status, headers, body, and `json()`."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        connection.sock = self.connect()
        headers = {name.replace("_", "-"): value for name, value in headers.items()}
        headers = {"Host": self.host, "Cookie": self.cookie, **headers}
        if isinstance(body, (dict, list)):
            body = json.dumps(body)
            headers.setdefault("Content-Type", "application/json")
        connection.putrequest(method, target, skip_host=True, skip_accept_encoding=True)
        for name, value in headers.items():
            if value is not None:
                connection.putheader(name, value)
        body = body.encode() if isinstance(body, str) else body
        if body is not None:
            connection.putheader("Content-Length", str(len(body)))
        connection.endheaders(body)
        answer = connection.getresponse()
        answer.body = answer.read()
        answer.json = lambda: json.loads(answer.body)
        connection.close()
        return answer

    def raw(self, *parts, wait=30):
        """What comes back for bytes, until the server closes the connection."""
        with self.connect() as connection:
            connection.settimeout(wait)
            received = b""
            try:
                for part in parts:
                    connection.sendall(part)
                while data := connection.recv(1 << 16):
                    received += data
            except (ConnectionError, ssl.SSLError):
                pass
            return received

    def get(self, target, **headers):
        return self.ask("GET", target, **headers)

    def edit(self, method, target, body=None, version=None):
        headers = {} if version is None else {"If-Match": f'"{version}"'}
        return self.ask(method, target, body, **headers)

    def items(self, parameters="count=1000"):
        return self.get("/api/items?" + parameters).json()["items"]

    def stop(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        code = self.process.wait(60)
        self.process.stdout.close()
        self.process.stderr.close()
        return code
