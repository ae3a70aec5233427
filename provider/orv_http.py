"""HTTP/1.1 side of the reference provider: persistent connections, Content-Length and chunked request
bodies, optional TLS, and the misbehaviour modes a client test selects per request (X-Orv-Test header or
a header targetURI of "test:<mode>"). Not the operations themselves (orv_services.py)."""

import email.parser
import email.policy
import email.utils
import socket
import socketserver
import ssl
import struct
import sys
import threading
import time
import traceback

from orv_services import Call, header_target
from orv_soap import SoapFault, app_fault, fault_element, read_envelope, write_envelope
from orv_xml import E, P, envelope_ns, q

MAX_LINE = 8192
MAX_HEADERS = 100
MAX_BODY = 16 * 1024 * 1024

# Modes that answer in their own way without running the operation.
OUTCOME_MODES = ("fault-server", "fault-client", "fault-unknown-detail", "fault-custom-code", "unknown-child",
                 "malformed", "version-mismatch", "http-500-html", "http-404", "reset", "stall", "empty-202",
                 "empty-200")
# Modes that run the operation and change how its answer looks or travels.
SHAPE_MODES = ("soap12", "no-header", "with-header", "duplicate-response", "chunked", "dribble",
               "connection-close", "truncated", "short-body")
MODES = OUTCOME_MODES + SHAPE_MODES

REASONS = {100: "Continue", 200: "OK", 202: "Accepted", 400: "Bad Request", 404: "Not Found",
           405: "Method Not Allowed", 411: "Length Required", 413: "Request Entity Too Large",
           414: "Request-URI Too Large", 431: "Request Header Fields Too Large", 500: "Internal Server Error",
           501: "Not Implemented"}


class HttpError(Exception):
    def __init__(self, status, text):
        super().__init__(text)
        self.status = status
        self.text = text


class HttpRequest:
    def __init__(self, method, target, version, headers, body, raw):
        self.method = method
        self.target = target
        self.version = version
        self.headers = headers
        self.body = body
        self.raw = raw

    def tokens(self, name):
        return [t.strip().lower() for t in self.headers.get(name, "").split(",") if t.strip()]


def parse_modes(text):
    """'chunked+soap12' -> ['chunked', 'soap12']; raises ValueError naming an unknown mode."""
    modes = [m.strip().lower() for m in text.split("+") if m.strip()]
    for m in modes:
        if m not in MODES:
            raise ValueError(m)
    if sum(1 for m in modes if m in OUTCOME_MODES) > 1:
        raise ValueError(text)
    return modes


def split_test_target(target):
    """'test:chunked;urn:x' -> ('chunked', 'urn:x'); 'test:stall' -> ('stall', None)."""
    rest = target[len("test:"):]
    i = 0
    while i < len(rest) and (rest[i].isalnum() or rest[i] in "-+"):
        i += 1
    mode, tail = rest[:i], rest[i + 1:] if i < len(rest) else ""
    return mode, (tail or None)


def split_mime(content_type, body):
    """A multipart/related request: (the root part's bytes, {content id: bytes} of the other parts).
    The root is the part named by the start parameter, else the first one."""
    msg = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(
        b"Content-Type: " + content_type.encode("latin-1") + b"\r\n\r\n" + body)
    if not msg.is_multipart():
        raise ValueError("multipart body without parts")
    parts = []
    for part in msg.iter_parts():
        cid = (part.get("Content-ID") or "").strip().strip("<>")
        parts.append((cid, part.get_payload(decode=True) or b""))
    if not parts:
        raise ValueError("multipart body without parts")
    start = (msg.get_param("start") or "").strip().strip("<>")
    root = next((p for p in parts if start and p[0] == start), parts[0])
    return root[1], {p[0]: p[1] for p in parts if p[0] and p is not root}


class Server(socketserver.ThreadingMixIn, socketserver.TCPServer):
    allow_reuse_address = True
    daemon_threads = True
    block_on_close = False
    request_queue_size = 64

    def __init__(self, address, services, ssl_context=None, default_mode=None, verbose=False,
                 idle_timeout=60.0, stall_limit=300.0):
        self.services = services
        self.ssl_context = ssl_context
        self.default_mode = default_mode
        self.verbose = verbose
        self.idle_timeout = idle_timeout
        self.stall_limit = stall_limit
        self.stopping = threading.Event()
        self._conns = set()
        self._conns_lock = threading.Lock()
        self.log_lock = threading.Lock()
        super().__init__(address, Handler)

    def track(self, sock, on):
        with self._conns_lock:
            (self._conns.add if on else self._conns.discard)(sock)

    def stop_connections(self):
        self.stopping.set()
        with self._conns_lock:
            conns = list(self._conns)
        for s in conns:
            try:
                s.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def log(self, data):
        if self.verbose:
            with self.log_lock:
                sys.stderr.buffer.write(data)
                sys.stderr.buffer.flush()


def _read_line(rfile, raw):
    line = rfile.readline(MAX_LINE + 1)
    raw.append(line)
    if len(line) > MAX_LINE:
        raise HttpError(431, "header line too long")
    return line


def read_request(rfile, send_continue):
    """One request from the connection, or None when the peer closed it between requests."""
    raw = []
    line = rfile.readline(MAX_LINE + 1)
    while line in (b"\r\n", b"\n"):            # tolerate stray blank lines between requests
        line = rfile.readline(MAX_LINE + 1)
    if not line:
        return None
    raw.append(line)
    if len(line) > MAX_LINE:
        raise HttpError(414, "request line too long")
    parts = line.decode("latin-1").split()
    if len(parts) != 3 or not parts[2].startswith("HTTP/"):
        raise HttpError(400, "bad request line")
    method, target, version = parts
    headers = {}
    last = None
    for _ in range(MAX_HEADERS + 1):
        h = _read_line(rfile, raw)
        if not h:
            raise EOFError("connection closed inside the request head")
        if h in (b"\r\n", b"\n"):
            break
        text = h.decode("latin-1").rstrip("\r\n")
        if text[:1] in (" ", "\t") and last is not None:
            headers[last] += " " + text.strip()
            continue
        key, sep, value = text.partition(":")
        if not sep:
            raise HttpError(400, "bad header line")
        last = key.strip().lower()
        headers[last] = (headers[last] + ", " + value.strip()) if last in headers else value.strip()
    else:
        raise HttpError(431, "too many header lines")
    req = HttpRequest(method, target, version, headers, b"", raw)
    if "100-continue" in req.tokens("expect"):
        send_continue()
    chunks = []
    if "chunked" in req.tokens("transfer-encoding"):
        total = 0
        while True:
            size_line = _read_line(rfile, raw)
            if not size_line:
                raise EOFError("connection closed inside a chunked body")
            try:
                size = int(size_line.split(b";")[0].strip(), 16)
            except ValueError:
                raise HttpError(400, "bad chunk size")
            if size == 0:
                while True:
                    t = _read_line(rfile, raw)
                    if not t or t in (b"\r\n", b"\n"):
                        break
                break
            total += size
            if total > MAX_BODY:
                raise HttpError(413, "body too large")
            data = rfile.read(size)
            raw.append(data)
            if len(data) != size:
                raise EOFError("connection closed inside a chunk")
            chunks.append(data)
            end = _read_line(rfile, raw)
            if end not in (b"\r\n", b"\n"):
                raise HttpError(400, "chunk not followed by CRLF")
    elif "content-length" in headers:
        try:
            n = int(headers["content-length"])
        except ValueError:
            raise HttpError(400, "bad Content-Length")
        if n < 0:
            raise HttpError(400, "bad Content-Length")
        if n > MAX_BODY:
            raise HttpError(413, "body too large")
        data = rfile.read(n) if n else b""
        raw.append(data)
        if len(data) != n:
            raise EOFError("connection closed inside the body")
        chunks.append(data)
    elif method == "POST":
        raise HttpError(411, "POST without Content-Length or chunked body")
    req.body = b"".join(chunks)
    return req


class Handler(socketserver.BaseRequestHandler):
    def setup(self):
        self.sock = None
        self.rfile = None
        sock = self.request
        srv = self.server
        # Answers go out at once: over TLS the session tickets that follow the handshake are still
        # unacknowledged when the first answer is written, and Nagle would hold it for the client's
        # delayed ACK.
        try:
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        except OSError:
            pass
        if srv.ssl_context is not None:
            try:
                sock.settimeout(10)
                sock = srv.ssl_context.wrap_socket(sock, server_side=True)
            except (ssl.SSLError, OSError) as e:
                srv.log(("--- TLS handshake with %s failed: %s\n" % (self.client_address, e)).encode())
                try:
                    self.request.close()
                except OSError:
                    pass
                return
        sock.settimeout(srv.idle_timeout)
        self.sock = sock
        self.rfile = sock.makefile("rb")
        srv.track(sock, True)

    def finish(self):
        if self.sock is None:
            return
        self.server.track(self.sock, False)
        try:
            self.rfile.close()
        except OSError:
            pass
        try:
            self.sock.close()
        except OSError:
            pass

    def handle(self):
        if self.sock is None:
            return
        while not self.server.stopping.is_set():
            try:
                req = read_request(self.rfile, lambda: self.send_raw(b"HTTP/1.1 100 Continue\r\n\r\n"))
            except HttpError as e:
                self.send_simple(e.status, e.text, keep=False)
                return
            except (EOFError, OSError, ValueError):
                return
            if req is None:
                return
            self.server.log(("--- request from %s:%d ---\n" % self.client_address[:2]).encode()
                            + b"".join(req.raw) + b"\n--- end of request ---\n")
            try:
                keep = self.respond(req)
            except OSError:
                return
            if not keep:
                return

    # ---- output ------------------------------------------------------------------------------------

    def send_raw(self, data):
        self.sock.sendall(data)

    def head(self, status, headers):
        lines = ["HTTP/1.1 %d %s" % (status, REASONS.get(status, "")),
                 "Server: orv-provider/1.0",
                 "Date: " + email.utils.formatdate(usegmt=True)]
        lines += ["%s: %s" % kv for kv in headers]
        return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")

    def send_simple(self, status, text, keep, ctype="text/html; charset=utf-8", extra=()):
        body = ("<html><head><title>%d %s</title></head><body><h1>%d %s</h1><p>%s</p></body></html>\n"
                % (status, REASONS.get(status, ""), status, REASONS.get(status, ""), text)).encode()
        headers = [("Content-Type", ctype), ("Content-Length", str(len(body))),
                   ("Connection", "keep-alive" if keep else "close")] + list(extra)
        try:
            self.send_raw(self.head(status, headers) + body)
        except OSError:
            return False
        return keep

    def send_message(self, status, data, version, modes, keep):
        """Sends one XML answer in the way the shaping modes ask for. Returns whether to keep the
        connection."""
        ctype = "application/soap+xml; charset=utf-8" if version == 2 else "text/xml; charset=utf-8"
        if "connection-close" in modes:
            keep = False
        if "truncated" in modes:
            out = self.head(status, [("Content-Type", ctype), ("Connection", "close")]) + data[:len(data) // 2]
            self.send_raw(out)
            return False
        if "short-body" in modes:
            out = (self.head(status, [("Content-Type", ctype), ("Content-Length", str(len(data))),
                                      ("Connection", "close")]) + data[:len(data) // 2])
            self.send_raw(out)
            return False
        conn = ("Connection", "keep-alive" if keep else "close")
        if "chunked" in modes:
            out = [self.head(status, [("Content-Type", ctype), ("Transfer-Encoding", "chunked"), conn])]
            sizes = [1, 7, 64, 300]
            i = 0
            k = 0
            while i < len(data):
                n = sizes[k] if k < len(sizes) else 1024
                piece = data[i:i + n]
                out.append(b"%x\r\n" % len(piece) + piece + b"\r\n")
                i += n
                k += 1
            out.append(b"0\r\n\r\n")
            out = b"".join(out)
        else:
            out = self.head(status, [("Content-Type", ctype), ("Content-Length", str(len(data))), conn]) + data
        if "dribble" in modes:
            for i in range(0, len(out), 7):
                self.send_raw(out[i:i + 7])
                time.sleep(0.001)
        else:
            self.send_raw(out)
        return keep

    def send_fault(self, fault, version, modes, keep):
        if fault.force_v11:
            version = 1
        status = 400 if (version == 2 and fault.sender and fault.code is None) else 500
        data = write_envelope(version, None, [fault_element(fault, version)])
        return self.send_message(status, data, version, modes, keep)

    # ---- one request -------------------------------------------------------------------------------

    def respond(self, req):
        srv = self.server
        if req.version == "HTTP/1.0":
            keep = "keep-alive" in req.tokens("connection")
        else:
            keep = "close" not in req.tokens("connection")
        path = req.target.split("?", 1)[0]
        if req.method != "POST":
            return self.send_simple(405, "only POST is served here", keep, extra=[("Allow", "POST")])
        if path not in srv.services.ops:
            return self.send_simple(404, "no service at %s" % path, keep)

        env, parse_fault, attachments = None, None, {}
        try:
            soap_bytes = req.body
            if req.headers.get("content-type", "").lower().startswith("multipart/related"):
                try:
                    soap_bytes, attachments = split_mime(req.headers["content-type"], req.body)
                except (ValueError, TypeError, LookupError) as e:
                    raise SoapFault(True, "MIME format error: %s" % e,
                                    app_fault("Client.MalformedRequest", "the multipart body is unreadable"))
            env = read_envelope(soap_bytes)
        except SoapFault as f:
            parse_fault = f
        target = header_target(env) if env is not None else None

        # Which misbehaviour, if any: the HTTP header first, then the targetURI, then the default.
        modes = []
        try:
            if "x-orv-test" in req.headers:
                modes = parse_modes(req.headers["x-orv-test"])
            elif target is not None and target.startswith("test:"):
                mode_text, target = split_test_target(target)
                modes = parse_modes(mode_text)
            elif srv.default_mode:
                modes = parse_modes(srv.default_mode)
        except ValueError as e:
            if "x-orv-test" in req.headers:
                return self.send_simple(400, "unknown test mode %s" % e, keep)
            fault = SoapFault(True, "Unknown test mode '%s'" % e,
                              app_fault("Client.InvalidRequest", "unknown test mode '%s'" % e))
            return self.send_fault(fault, env.version if env else 1, [], keep)

        version = env.version if env is not None else 1
        if "soap12" in modes:
            version = 2
        outcome = next((m for m in modes if m in OUTCOME_MODES), None)
        if outcome is not None:
            return self.misbehave(outcome, version, modes, keep)

        if parse_fault is not None:
            return self.send_fault(parse_fault, version, modes, keep)
        call = Call(env, target, attachments)
        try:
            content, uri = srv.services.handle(path, call)
        except SoapFault as f:
            return self.send_fault(f, version, modes, keep)
        except Exception as e:      # a provider bug must still answer as a server fault
            traceback.print_exc(file=sys.stderr)
            f = SoapFault(False, "Internal error: %s" % e,
                          app_fault("Server.Processing", "the provider failed: %s" % e,
                                    transaction_id=call.transaction_id))
            return self.send_fault(f, version, modes, keep)
        header = None
        if "no-header" not in modes:
            full = "with-header" in modes
            header = srv.services.response_header(call, uri, full=full,
                                                  must_understand_attr=q(envelope_ns(version), "mustUnderstand")
                                                  if full else None)
        body = [content, content] if "duplicate-response" in modes else [content]
        return self.send_message(200, write_envelope(version, header, body), version, modes, keep)

    def misbehave(self, outcome, version, modes, keep):
        if outcome == "reset":
            try:
                self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            except OSError:
                pass
            return False
        if outcome == "stall":
            self.stall()
            return False
        if outcome == "http-404":
            return self.send_simple(404, "nothing here", keep)
        if outcome == "http-500-html":
            return self.send_simple(500, "the provider is having a bad day", keep)
        if outcome in ("empty-202", "empty-200"):
            status = 202 if outcome == "empty-202" else 200
            headers = [("Content-Length", "0"), ("Connection", "keep-alive" if keep else "close")]
            self.send_raw(self.head(status, headers))
            return keep
        if outcome == "malformed":
            data = ('<?xml version="1.0" encoding="UTF-8"?>\n<SOAP-ENV:Envelope xmlns:SOAP-ENV="%s">'
                    '<SOAP-ENV:Body><protocol:oops xmlns:protocol="%s"><a></b></protocol:oops>'
                    '</SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n' % (envelope_ns(version), P)).encode()
            return self.send_message(200, data, version, modes, keep)
        if outcome == "unknown-child":
            unknown = E("{urn:orvsoap:test}unexpected", E("{urn:orvsoap:test}note", text="not a response"))
            return self.send_message(200, write_envelope(version, None, [unknown]), version, modes, keep)
        if outcome == "version-mismatch":
            data = write_envelope(version, None, [E(q(P, "note"), text="x")],
                                  envelope_uri="urn:orvsoap:test:not-an-envelope")
            return self.send_message(200, data, version, modes, keep)
        if outcome == "fault-server":
            f = SoapFault(False, "Server fault requested by the test",
                          app_fault("Server.Processing", "the provider was asked to fail"))
        elif outcome == "fault-client":
            f = SoapFault(True, "Client fault requested by the test",
                          app_fault("Client.InvalidRequest", "the provider was asked to refuse"))
        elif outcome == "fault-custom-code":
            f = SoapFault(False, "Fault with an application fault code",
                          app_fault("Server.ServiceUnavailable", "come back later",
                                    E(q(P, "retryAfter"), text="PT30S")),
                          code=q(P, "Server.ServiceUnavailable"))
        else:   # fault-unknown-detail
            f = SoapFault(True, "Client fault with a detail no dictionary knows",
                          E("{urn:orvsoap:test}diagnostic", E("{urn:orvsoap:test}code", text="42"),
                            attrib={"level": "high"}))
        return self.send_fault(f, version, modes, keep)

    def stall(self):
        """Says nothing until the peer gives up (closes), the provider stops, or the limit passes."""
        self.sock.settimeout(0.2)
        deadline = time.monotonic() + self.server.stall_limit
        while not self.server.stopping.is_set() and time.monotonic() < deadline:
            try:
                if not self.sock.recv(4096):
                    return
            except socket.timeout:
                continue
            except OSError:
                return
