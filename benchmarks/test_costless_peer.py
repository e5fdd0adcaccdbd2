#!/usr/bin/env python3
"""Whether the costless peer answers as a controller does: a peer that does less would flatter what is measured.

    test_costless_peer.py PROGRAM
"""

import socket
import struct
import subprocess
import sys
import unittest

PROGRAM = ""
IDENTIFICATION = bytes(range(13))


def request(body, transaction=7):
    return struct.pack(">HHHB", transaction, 0, len(body) + 1, 1) + body


def read(address, count, function=3):
    return struct.pack(">BHH", function, address, count)


class CostlessPeer(unittest.TestCase):
    def setUp(self):
        self.peer = subprocess.Popen([PROGRAM, "2", IDENTIFICATION.hex()], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True)
        self.ports = [int(self.peer.stdout.readline()) for _ in range(2)]
        self.link = self.connected(0)

    def tearDown(self):
        self.link.close()
        self.peer.stdin.close()
        self.assertEqual(self.peer.wait(5), 0)
        self.peer.stdout.close()

    def connected(self, port):
        return socket.create_connection(("127.0.0.1", self.ports[port]), 5)

    def answer(self, link=None):
        """The answer without its head, which is compared with what it should be."""
        link = link or self.link
        head = b""
        while len(head) < 7:
            head += link.recv(7 - len(head))
        transaction, protocol, length, unit = struct.unpack(">HHHB", head)
        self.assertEqual((transaction, protocol, unit), (7, 0, 1))
        body = b""
        while len(body) < length - 1:
            body += link.recv(length - 1 - len(body))
        return body

    def asked(self, body):
        self.link.sendall(request(body))
        return self.answer()

    def test_reads_what_was_written(self):
        one = struct.pack(">BHH", 6, 6101, 0x1234)
        self.assertEqual(self.asked(one), one)
        several = struct.pack(">BHHBHH", 16, 6102, 2, 4, 0x5678, 0x9abc)
        self.assertEqual(self.asked(several), several[:5])
        for function in (3, 4):
            self.assertEqual(self.asked(read(6100, 4, function)),
                             bytes([function, 8]) + struct.pack(">4H", 0, 0x1234, 0x5678, 0x9abc))

    def test_reads_to_the_last_register(self):
        self.assertEqual(self.asked(read(65411, 125)), bytes([3, 250]) + bytes(250))

    def test_says_what_it_is(self):
        self.assertEqual(self.asked(bytes([17])), bytes([17, len(IDENTIFICATION)]) + IDENTIFICATION)

    def test_refuses(self):
        for body, refusal in ((read(65535, 2), 2), (read(0, 126), 3), (read(0, 0), 3), (bytes([3, 0]), 3),
                              (struct.pack(">BHHB", 16, 0, 2, 4), 3),
                              (struct.pack(">BHHBHH", 16, 65535, 2, 4, 0, 0), 2), (read(0, 1, 99), 1)):
            self.assertEqual(self.asked(body), bytes([body[0] | 0x80, refusal]), body)

    def test_takes_frames_as_they_come(self):
        frame = request(read(1, 1))
        for byte in frame:
            self.link.sendall(bytes([byte]))
        self.assertEqual(self.answer(), bytes([3, 2, 0, 0]))
        self.link.sendall(frame + frame[:5])
        self.assertEqual(self.answer(), bytes([3, 2, 0, 0]))
        self.link.sendall(frame[5:])
        self.assertEqual(self.answer(), bytes([3, 2, 0, 0]))

    def test_ends_the_connection_of_who_sends_something_else(self):
        self.link.sendall(b"GET / HTTP/1.1\r\n\r\n")
        self.assertEqual(self.link.recv(1), b"")

    def test_serves_many_connections(self):
        links = [self.connected(i % 2) for i in range(50)]
        for link in links:
            link.sendall(request(read(1, 60)))
        for link in links:
            self.assertEqual(self.answer(link), bytes([3, 120]) + bytes(120))
            link.close()
        self.assertEqual(self.asked(read(1, 1)), bytes([3, 2, 0, 0]))


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
