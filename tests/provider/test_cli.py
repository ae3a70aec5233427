"""The reference provider as a command: the ready line, clean stop on SIGTERM and SIGINT with open and
stalled connections, the SQLite file across restarts, the accepted user, the request log, HTTPS, and
refusal of bad options."""

import os
import shutil
import signal
import socket
import sqlite3
import ssl
import subprocess
import sys
import tempfile
import unittest

from provider_fixture import (PROFILE, PROVIDER, T, Answer, Provider, envelope, header_xml, http_request, post,
                              read_response, validate)

CREATE = envelope("<protocolProfile:createRequest/>", header_xml())


class Lifecycle(unittest.TestCase):
    def stop_with(self, sig):
        p = Provider()
        idle = socket.create_connection(("127.0.0.1", p.port))
        self.addCleanup(idle.close)
        stalled = socket.create_connection(("127.0.0.1", p.port))
        self.addCleanup(stalled.close)
        stalled.sendall(http_request(PROFILE, CREATE, "X-Orv-Test: stall\r\n"))
        with idle.makefile("rb") as f:
            idle.sendall(http_request(PROFILE, CREATE))
            self.assertEqual(read_response(f)[0], 200)
        p.proc.send_signal(sig)
        self.assertEqual(p.proc.wait(10), 0)
        err = p.proc.stderr.read()
        p.stop()
        self.assertIn(b"stopped", err)
        self.assertNotIn(b"Traceback", err)
        with self.assertRaises(OSError):
            socket.create_connection(("127.0.0.1", p.port), timeout=1).close()

    def test_sigterm_stops_cleanly_with_idle_and_stalled_connections(self):
        self.stop_with(signal.SIGTERM)

    def test_sigint_stops_cleanly(self):
        self.stop_with(signal.SIGINT)

    def test_busy_port_is_reported_and_exits_nonzero(self):
        p = Provider()
        self.addCleanup(p.stop)
        r = subprocess.run([sys.executable, PROVIDER, "--port", str(p.port)], capture_output=True, timeout=10)
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"cannot listen", r.stderr)
        self.assertEqual(r.stdout, b"")

    def test_unknown_fault_mode_option_is_refused(self):
        r = subprocess.run([sys.executable, PROVIDER, "--port", "0", "--fault-mode", "explode"],
                           capture_output=True, timeout=10)
        self.assertEqual(r.returncode, 2)
        self.assertIn(b"explode", r.stderr)


class Options(unittest.TestCase):
    def test_db_file_keeps_profiles_across_restarts(self):
        d = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, d)
        db = os.path.join(d, "provider.db")
        p = Provider("--db", db)
        c = p.connect()
        uri = post(c, PROFILE, envelope("<protocolProfile:createRequest><protocolProfile:profileAuthority>kept"
                                        "</protocolProfile:profileAuthority></protocolProfile:createRequest>",
                                        header_xml())).element.findtext(T("protocolProfile", "thisURI"))
        c.close()
        p.stop()
        p = Provider("--db", db)
        self.addCleanup(p.stop)
        c = p.connect()
        self.addCleanup(c.close)
        a = post(c, PROFILE, envelope("<protocolProfile:getRequest/>", header_xml(target=uri)))
        self.assertEqual(a.element.findtext(T("protocolProfile", "profileAuthority")), "kept")
        fresh = post(c, PROFILE, CREATE).element.findtext(T("protocolProfile", "thisURI"))
        self.assertNotEqual(fresh, uri)

    def test_damaged_stored_object_is_server_processing_fault(self):
        d = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, d)
        db = os.path.join(d, "provider.db")
        p = Provider("--db", db)
        c = p.connect()
        uri = post(c, PROFILE, CREATE).element.findtext(T("protocolProfile", "thisURI"))
        c.close()
        p.stop()
        with sqlite3.connect(db) as conn:
            conn.execute("UPDATE items SET xml = '<broken' WHERE uri = ?", (uri,))
        conn.close()
        p = Provider("--db", db)
        self.addCleanup(p.stop)
        c = p.connect()
        self.addCleanup(c.close)
        a = post(c, PROFILE, envelope("<protocolProfile:getRequest/>", header_xml(target=uri)))
        code, _, detail = a.fault()
        self.assertEqual((a.status, code), (500, "SOAP-ENV:Server"))
        self.assertEqual(detail.tag, T("protocol", "Server.Processing"))
        validate(self, a)

    def test_user_and_password_options_set_the_accepted_credentials(self):
        p = Provider("--user", "svc", "--password", "pw2")
        self.addCleanup(p.stop)
        c = p.connect()
        self.addCleanup(c.close)
        self.assertEqual(post(c, PROFILE, CREATE).fault()[2].tag, T("protocol", "Client.Authentication.NotAuthorized"))
        ok = post(c, PROFILE, envelope("<protocolProfile:createRequest/>", header_xml(user="svc", password="pw2")))
        self.assertEqual(ok.status, 200)

    def test_no_auth_accepts_requests_without_credentials(self):
        p = Provider("--no-auth")
        self.addCleanup(p.stop)
        c = p.connect()
        self.addCleanup(c.close)
        self.assertEqual(post(c, PROFILE, envelope("<protocolProfile:createRequest/>")).status, 200)

    def test_verbose_logs_raw_request_bytes_to_stderr_only(self):
        p = Provider("--verbose")
        c = p.connect()
        post(c, PROFILE, CREATE)
        c.close()
        p.proc.terminate()
        p.proc.wait(10)
        err, out = p.proc.stderr.read(), p.proc.stdout.read()
        p.stop()
        self.assertIn(b"POST /orv/v1.0/services/Profile HTTP/1.1\r\n", err)
        self.assertIn(CREATE, err)
        self.assertEqual(out, b"")

    def test_quiet_without_verbose(self):
        p = Provider()
        c = p.connect()
        post(c, PROFILE, CREATE)
        c.close()
        p.proc.terminate()
        p.proc.wait(10)
        err = p.proc.stderr.read()
        p.stop()
        self.assertNotIn(b"POST", err)


@unittest.skipUnless(shutil.which("openssl"), "openssl command not installed")
class Tls(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.mkdtemp()
        cls.cert = os.path.join(cls.dir, "cert.pem")
        cls.key = os.path.join(cls.dir, "key.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2",
                        "-subj", "/CN=127.0.0.1", "-keyout", cls.key, "-out", cls.cert],
                       check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir)

    def test_https_serves_soap_on_a_persistent_connection(self):
        p = Provider("--tls-cert", self.cert, "--tls-key", self.key)
        self.addCleanup(p.stop)
        ctx = ssl.create_default_context(cafile=self.cert)
        ctx.check_hostname = False
        with socket.create_connection(("127.0.0.1", p.port), timeout=5) as raw, \
                ctx.wrap_socket(raw) as s, s.makefile("rb") as f:
            for _ in range(2):
                s.sendall(http_request(PROFILE, CREATE))
                status, headers, body = read_response(f)
                self.assertEqual(status, 200)
                self.assertEqual(Answer(status, headers, body).element.tag, T("protocolProfile", "createResponse"))

    def test_plain_http_on_the_tls_port_is_dropped_and_the_provider_keeps_serving(self):
        p = Provider("--tls-cert", self.cert, "--tls-key", self.key)
        self.addCleanup(p.stop)
        with socket.create_connection(("127.0.0.1", p.port), timeout=5) as s:
            s.sendall(http_request(PROFILE, CREATE))
            try:
                data = s.recv(100)
            except ConnectionResetError:
                data = b""
            self.assertFalse(data.startswith(b"HTTP/1.1 200"))
        ctx = ssl.create_default_context(cafile=self.cert)
        ctx.check_hostname = False
        with socket.create_connection(("127.0.0.1", p.port), timeout=5) as raw, \
                ctx.wrap_socket(raw) as s, s.makefile("rb") as f:
            s.sendall(http_request(PROFILE, CREATE))
            self.assertEqual(read_response(f)[0], 200)

    def test_cert_without_key_is_refused(self):
        r = subprocess.run([sys.executable, PROVIDER, "--port", "0", "--tls-cert", self.cert],
                           capture_output=True, timeout=10)
        self.assertEqual(r.returncode, 2)


if __name__ == "__main__":
    unittest.main()
