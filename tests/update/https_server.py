#!/usr/bin/env python3
"""A local HTTPS server for the update tests, on 127.0.0.1 only, with the throw-away certificate beside it.

  https_server.py ROOT PORTFILE LIFETIME

Serves files of ROOT and a few misbehaving answers; writes its port to PORTFILE once it listens, logs each
request path to ROOT/requests.log, and ends by itself after LIFETIME seconds.

  /files/NAME          the file, with its length
  /nolength/NAME       the file, no length, ended by closing
  /short/NAME          announces the file's length, sends half of it, closes
  /huge                announces 300,000,000 bytes, sends a few
  /status/CODE         that status and no body
  /redirect-http/NAME  302 to http:// on this port
  /redirect-https/NAME 302 to /files/NAME on this server
  /slow/NAME           the file in 4 KiB pieces every 50 ms
"""
import http.server
import os
import ssl
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def main():
    root, portfile, lifetime = sys.argv[1], sys.argv[2], float(sys.argv[3])

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def log_message(self, *args):
            pass

        def body_of(self, name):
            path = os.path.join(root, os.path.basename(name))
            with open(path, "rb") as f:
                return f.read()

        def do_GET(self):
            with open(os.path.join(root, "requests.log"), "a") as log:
                log.write(self.path + "\n")
            parts = self.path.split("/", 2)
            kind, name = parts[1], parts[2] if len(parts) > 2 else ""
            try:
                if kind == "status":
                    self.send_response(int(name.split("/")[0]))
                    self.send_header("Content-Length", "0")
                    self.end_headers()
                elif kind == "huge":
                    self.send_response(200)
                    self.send_header("Content-Length", "300000000")
                    self.end_headers()
                    self.wfile.write(b"x" * 1000)
                    self.close_connection = True
                elif kind in ("redirect-http", "redirect-https"):
                    scheme = "http" if kind == "redirect-http" else "https"
                    self.send_response(302)
                    self.send_header("Location", "%s://127.0.0.1:%d/files/%s" % (scheme, port, name))
                    self.send_header("Content-Length", "0")
                    self.end_headers()
                elif kind in ("files", "update", "nolength", "short", "slow"):
                    data = self.body_of(name)
                    self.send_response(200)
                    if kind != "nolength":
                        self.send_header("Content-Length", str(len(data)))
                    if kind in ("nolength", "short"):
                        self.send_header("Connection", "close")
                    self.end_headers()
                    if kind == "short":
                        data = data[: len(data) // 2]
                    if kind == "slow":
                        for i in range(0, len(data), 4096):
                            self.wfile.write(data[i:i + 4096])
                            self.wfile.flush()
                            time.sleep(0.05)
                    else:
                        self.wfile.write(data)
                    if kind in ("nolength", "short"):
                        self.close_connection = True
                else:
                    self.send_response(404)
                    self.send_header("Content-Length", "0")
                    self.end_headers()
            except (OSError, ValueError):
                # The client went away (a cancel, a refusal) or asked for nothing we have.
                self.close_connection = True

    class Server(http.server.ThreadingHTTPServer):
        daemon_threads = True

        def handle_error(self, request, client_address):
            pass  # handshakes that the client broke off

    server = Server(("127.0.0.1", 0), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(HERE, "test-server-cert.pem"), os.path.join(HERE, "test-server-key.pem"))
    server.socket = context.wrap_socket(server.socket, server_side=True)
    port = server.server_address[1]
    threading.Timer(lifetime, server.shutdown).start()
    with open(portfile + ".tmp", "w") as f:
        f.write(str(port))
    os.rename(portfile + ".tmp", portfile)
    server.serve_forever()


if __name__ == "__main__":
    main()
