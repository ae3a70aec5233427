"""HTTP/1.1 behaviour of the reference provider: persistent connections, pipelining, chunked request
bodies, 100-continue, connection close rules and refusal of broken request framing."""

import socket
import unittest

from provider_fixture import (PROFILE, T, ConnTest, Answer, Provider, envelope, header_xml, http_request, post,
                              raw_exchange, read_response)

P = None


def setUpModule():
    global P
    P = Provider()


def tearDownModule():
    P.stop()


CREATE = envelope("<protocolProfile:createRequest/>", header_xml())


class Test(ConnTest):
    @staticmethod
    def provider():
        return P

    def socket(self):
        s = socket.create_connection(("127.0.0.1", P.port), timeout=5)
        self.addCleanup(s.close)
        f = s.makefile("rb")
        self.addCleanup(f.close)
        return s, f


class KeepAlive(Test):
    def test_two_requests_travel_on_one_connection(self):
        first = post(self.conn, PROFILE, CREATE)
        sock = self.conn.sock
        self.assertEqual(first.headers.getheader("Connection"), "keep-alive")
        second = post(self.conn, PROFILE, CREATE)
        self.assertIs(self.conn.sock, sock)
        self.assertEqual(second.status, 200)
        self.assertNotEqual(first.element.findtext(T("protocolProfile", "thisURI")),
                            second.element.findtext(T("protocolProfile", "thisURI")))

    def test_pipelined_requests_are_answered_in_order(self):
        s, f = self.socket()
        s.sendall(http_request(PROFILE, CREATE) * 3)
        uris = []
        for _ in range(3):
            status, headers, body = read_response(f)
            self.assertEqual(status, 200)
            uris.append(Answer(status, headers, body).element.findtext(T("protocolProfile", "thisURI")))
        nums = [int(u.rsplit(":", 1)[1]) for u in uris]
        self.assertEqual(nums, sorted(nums))
        self.assertEqual(len(set(nums)), 3)

    def test_connection_close_request_is_answered_then_closed(self):
        s, f = self.socket()
        s.sendall(http_request(PROFILE, CREATE).replace(b"Connection: keep-alive", b"Connection: close"))
        status, headers, _ = read_response(f)
        self.assertEqual(status, 200)
        self.assertEqual(headers["connection"], "close")
        self.assertEqual(f.read(), b"")

    def test_http10_without_keep_alive_is_closed_after_the_answer(self):
        s, f = self.socket()
        s.sendall(http_request(PROFILE, CREATE).replace(b"HTTP/1.1", b"HTTP/1.0")
                  .replace(b"Connection: keep-alive\r\n", b""))
        status, headers, _ = read_response(f)
        self.assertEqual(status, 200)
        self.assertEqual(headers["connection"], "close")
        self.assertEqual(f.read(), b"")

    def test_http10_with_keep_alive_stays_open(self):
        s, f = self.socket()
        req = http_request(PROFILE, CREATE).replace(b"HTTP/1.1", b"HTTP/1.0")
        s.sendall(req)
        self.assertEqual(read_response(f)[1]["connection"], "keep-alive")
        s.sendall(req)
        self.assertEqual(read_response(f)[0], 200)


class RequestBodies(Test):
    def test_chunked_request_body_is_read_whole(self):
        a = post(self.conn, PROFILE, CREATE, chunked=True)
        self.assertEqual(a.status, 200, a.body)
        self.assertEqual(a.element.tag, T("protocolProfile", "createResponse"))
        again = post(self.conn, PROFILE, CREATE, chunked=True)
        self.assertEqual(again.status, 200)

    def test_chunk_extensions_and_trailers_are_skipped(self):
        s, f = self.socket()
        head = (b"POST %s HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\nContent-Type: text/xml\r\n\r\n"
                % PROFILE.encode())
        body = b"%x;ext=1\r\n%s\r\n0\r\nX-Trailer: yes\r\n\r\n" % (len(CREATE), CREATE)
        s.sendall(head + body)
        self.assertEqual(read_response(f)[0], 200)

    def test_expect_100_continue_gets_interim_answer(self):
        s, f = self.socket()
        req = http_request(PROFILE, CREATE, "Expect: 100-continue\r\n")
        head, body = req.split(b"\r\n\r\n", 1)
        s.sendall(head + b"\r\n\r\n")
        self.assertEqual(f.readline(), b"HTTP/1.1 100 Continue\r\n")
        self.assertEqual(f.readline(), b"\r\n")
        s.sendall(body)
        self.assertEqual(read_response(f)[0], 200)

    def test_bad_chunk_size_is_400_and_close(self):
        out, how = raw_exchange(P.port, b"POST %s HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
                                b"zz\r\nabc\r\n0\r\n\r\n" % PROFILE.encode())
        self.assertTrue(out.startswith(b"HTTP/1.1 400 "), out)
        self.assertIn(b"Connection: close", out)

    def test_post_without_length_is_411(self):
        out, _ = raw_exchange(P.port, b"POST %s HTTP/1.1\r\nHost: x\r\n\r\n" % PROFILE.encode())
        self.assertTrue(out.startswith(b"HTTP/1.1 411 "), out)

    def test_oversized_body_is_refused_before_reading_it(self):
        out, _ = raw_exchange(P.port, b"POST %s HTTP/1.1\r\nHost: x\r\nContent-Length: 999999999\r\n\r\n"
                              % PROFILE.encode())
        self.assertTrue(out.startswith(b"HTTP/1.1 413 "), out)

    def test_header_line_too_long_is_refused(self):
        out, _ = raw_exchange(P.port, b"POST %s HTTP/1.1\r\nX-Long: %s\r\n\r\n" % (PROFILE.encode(), b"a" * 9000))
        self.assertTrue(out.startswith(b"HTTP/1.1 431 "), out)

    def test_garbage_request_line_is_400(self):
        out, _ = raw_exchange(P.port, b"HELLO\r\n\r\n")
        self.assertTrue(out.startswith(b"HTTP/1.1 400 "), out)

    def test_folded_header_line_continues_the_previous_one(self):
        s, f = self.socket()
        s.sendall(http_request(PROFILE, CREATE, "X-Orv-Test: chunked\r\n +soap12\r\n"))
        status, headers, body = read_response(f)
        self.assertEqual(headers["transfer-encoding"], "chunked")
        self.assertEqual(Answer(status, headers, body).version, 2)

    def test_peer_closing_mid_body_does_not_disturb_the_provider(self):
        raw_exchange(P.port, http_request(PROFILE, CREATE)[:-20], timeout=0.3)
        self.assertEqual(post(self.conn, PROFILE, CREATE).status, 200)


if __name__ == "__main__":
    unittest.main()
