#!/usr/bin/python3
"""A place on loopback from which something is fetched: prints its port and serves until standard input ends."""
import http.server
import os
import sys
import threading
import time


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        port = self.server.server_address[1]
        if self.path.startswith("/to?"):
            self.send_response(302)
            self.send_header("Location", self.path[4:].replace("PORT", str(port)))
            self.end_headers()
            return
        if self.path == "/slow":
            time.sleep(30)
        status = 404 if self.path == "/none" else 200
        self.send_response(status)
        self.end_headers()
        if self.path == "/big":
            for _ in range(2000):
                self.wfile.write(b"x" * 1024)
        elif self.path == "/headers":
            self.wfile.write(str(self.headers).encode())
        else:
            self.wfile.write(b"an answer")

    def log_message(self, *ignored):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
threading.Thread(target=server.serve_forever, daemon=True).start()
print(server.server_address[1], flush=True)
sys.stdin.read()
os._exit(0)
