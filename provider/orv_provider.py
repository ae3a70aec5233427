#!/usr/bin/env python3
"""Reference provider for orvsoap's integration tests and demo: a small SOAP service on loopback for the
Profile and ProblemReport services, written with the Python standard library only, independent of the
library's own XML code. Not a production service: one accepted user, no real data transfer."""

import argparse
import os
import signal
import ssl
import sys
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from orv_http import MODES, Server, parse_modes  # noqa: E402
from orv_services import Services  # noqa: E402
from orv_store import Store  # noqa: E402


def main(argv=None):
    ap = argparse.ArgumentParser(description="orvsoap reference provider (Profile and ProblemReport services)")
    ap.add_argument("--port", type=int, default=9080, help="TCP port; 0 picks a free one (default 9080)")
    ap.add_argument("--host", default="127.0.0.1", help="address to bind (default 127.0.0.1)")
    ap.add_argument("--db", default=":memory:", help="SQLite file for profiles and reports (default in memory)")
    ap.add_argument("--tls-cert", help="PEM certificate (chain) for HTTPS")
    ap.add_argument("--tls-key", help="PEM private key for HTTPS")
    ap.add_argument("--fault-mode", help="misbehaviour for every request that selects none itself; one of: "
                    + ", ".join(MODES) + " (combine shaping modes with '+')")
    ap.add_argument("--user", default="daemon", help="accepted user name in the header credentials")
    ap.add_argument("--password", default="secret", help="accepted password in the header credentials")
    ap.add_argument("--no-auth", action="store_true", help="accept requests without credentials")
    ap.add_argument("--idle-timeout", type=float, default=60.0, help="seconds an idle connection is kept")
    ap.add_argument("--stall-limit", type=float, default=300.0, help="longest 'stall' in seconds")
    ap.add_argument("--verbose", action="store_true", help="log each request's raw bytes to stderr")
    args = ap.parse_args(argv)

    if args.fault_mode:
        try:
            parse_modes(args.fault_mode)
        except ValueError as e:
            ap.error("unknown --fault-mode %s" % e)
    if bool(args.tls_cert) != bool(args.tls_key):
        ap.error("--tls-cert and --tls-key go together")
    ctx = None
    if args.tls_cert:
        ctx = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        try:
            ctx.load_cert_chain(args.tls_cert, args.tls_key)
        except (OSError, ssl.SSLError) as e:
            ap.error("cannot load the TLS certificate or key: %s" % e)

    store = Store(args.db)
    services = Services(store, args.user, args.password, check_auth=not args.no_auth)
    try:
        server = Server((args.host, args.port), services, ssl_context=ctx, default_mode=args.fault_mode,
                        verbose=args.verbose, idle_timeout=args.idle_timeout, stall_limit=args.stall_limit)
    except OSError as e:
        print("orv_provider: cannot listen on %s:%d: %s" % (args.host, args.port, e), file=sys.stderr)
        return 1
    host, port = server.server_address[:2]
    services.base_url = "%s://%s:%d" % ("https" if ctx else "http", host, port)

    stop = threading.Event()

    def on_signal(signum, frame):
        stop.set()

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    loop = threading.Thread(target=server.serve_forever, kwargs={"poll_interval": 0.1}, daemon=True)
    loop.start()
    print("listening on %s:%d" % (host, port), flush=True)
    while not stop.wait(0.1):
        pass
    server.shutdown()
    server.stop_connections()
    server.server_close()
    store.close()
    print("orv_provider: stopped", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
