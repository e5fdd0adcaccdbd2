#!/usr/bin/env python3
"""A screwdriver controller of another make than the simulated one, on Modbus TCP.

    foreign_controller.py [BEND carried|untouched [NUMBER]]

It has tables, numbers and a unit of its own, and notes each request that it receives and each value that it
has really stored. The NUMBERth write (the first) is answered as the bend says (bends.py lists them), after the
write was carried out or without that. Prints its port, and serves until its standard input ends.
"""

import socket
import struct
import sys
import threading
from collections import namedtuple

from bends import BENDS, NO_END, CLOSE, RESET

UNIT = 7
READ_HOLDING, READ_INPUT = 0x03, 0x04
WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS = 0x05, 0x06, 0x10
WRITES = (WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS)
REPORT_SERVER_ID = 0x11
ILLEGAL_FUNCTION, ILLEGAL_ADDRESS, ILLEGAL_VALUE, NO_SUCH_UNIT = 1, 2, 3, 11
COIL_ON, COIL_OFF = 0xFF00, 0x0000

# Addresses as on the wire, one below the numbers of its manual.
COIL_ADDRESSES = range(800, 850)
HOLDING_ADDRESSES = (range(0, 244), range(40100, 40300))
INPUT_ADDRESSES = range(30000, 30032)
TORQUE_UNIT_ADDRESS = 241

# Two bytes that nobody reads, family 3, tool 17, firmware 4127, serial number 2303110842 backwards.
IDENTIFICATION = struct.pack("<HHHH5B", 0xBEEF, 3, 17, 4127, 42, 8, 11, 3, 23)

# "connection" counts from 0, "address" and "values" are those of the wire.
Request = namedtuple("Request", "connection transaction protocol unit function address values")
Stored = namedtuple("Stored", "function address value")


def first_value(address):
    """What a holding register holds at first: nothing that any operation writes."""
    return 2 if address == TORQUE_UNIT_ADDRESS else 20000 + address % 1000


class Refusal(Exception):
    def __init__(self, code):
        super().__init__(code)
        self.code = code


class ForeignController:
    """Serves on a free port of the loopback from its construction until close().

    Tables are values by their addresses on the wire; those of the module where none are given.
    """

    def __init__(self, bend=None, carries_out=True, bent_write=1, unit=UNIT, holding=None, inputs=None, coils=None):
        self.requests = []
        self.stored = []
        self.hits = 0
        self.problems = []
        self._bend = bend
        self._carries_out = carries_out
        self._bent_write = bent_write
        self._writes = 0
        self._unit = unit
        self._coils = coils or {address: False for address in COIL_ADDRESSES}
        self._holding = holding or {address: first_value(address) for part in HOLDING_ADDRESSES for address in part}
        self._input = inputs or {address: 5 for address in INPUT_ADDRESSES}
        self._is_over = threading.Event()
        self._connections = []
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._threads = [threading.Thread(target=self._accept)]
        self._threads[0].start()

    def close(self):
        """Returns when nothing is served any more: what it has noted is complete then."""
        self._is_over.set()
        # The accepting thread waits for a connection: it gets one.
        socket.create_connection(("127.0.0.1", self.port)).close()
        self._threads[0].join()
        for connection in self._connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass  # it is closed already
        for thread in self._threads:
            thread.join()
        self._listener.close()

    def _accept(self):
        while True:
            connection, _ = self._listener.accept()
            if self._is_over.is_set():
                connection.close()
                return
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            thread = threading.Thread(target=self._serve, args=(connection, len(self._connections)))
            self._connections.append(connection)
            self._threads.append(thread)
            thread.start()

    def _serve(self, connection, number):
        with connection:
            try:
                self._serve_requests(connection, number)
            except OSError:
                pass  # the other side has gone

    def _serve_requests(self, connection, number):
        before = b""
        while True:
            header = receive(connection, 7)
            if len(header) < 7:
                break
            transaction, protocol, length, unit = struct.unpack(">HHHB", header)
            pdu = receive(connection, length - 1)
            if len(pdu) < length - 1:
                self.problems.append(f"a request was cut: {(header + pdu).hex()}")
                return
            request = self._note(number, (transaction, protocol, unit), pdu)
            is_bent = self._is_to_be_bent(request)
            answer = frame(transaction, unit, self._answer(request, pdu, self._carries_out or not is_bent))
            if not is_bent:
                connection.sendall(answer)
            elif not self._deliver_bent(connection, answer, before):
                return
            before = answer
        if header:
            self.problems.append(f"a header was cut: {header.hex()}")

    def _note(self, number, header, pdu):
        transaction, protocol, unit = header
        function, rest = pdu[0], pdu[1:]
        address, values = None, ()
        if function != REPORT_SERVER_ID and len(rest) >= 4:
            address, *values = struct.unpack(">HH", rest[:4])
        if function == WRITE_REGISTERS:
            count, values = values[0], rest[5:]
            if len(rest) != 5 + 2 * count or rest[4] != 2 * count:
                self.problems.append(f"a write of several registers does not fit its count: {pdu.hex()}")
            values = struct.unpack(f">{len(values) // 2}H", values[:len(values) // 2 * 2])
        request = Request(number, transaction, protocol, unit, function, address, tuple(values))
        self.requests.append(request)
        return request

    def _is_to_be_bent(self, request):
        if request.function not in WRITES:
            return False
        self._writes += 1
        if self._bend is None or self._writes != self._bent_write:
            return False
        self.hits += 1
        return True

    def _answer(self, request, pdu, carries_out):
        try:
            if request.unit != self._unit:
                raise Refusal(NO_SUCH_UNIT)
            if request.function == REPORT_SERVER_ID:
                return bytes([REPORT_SERVER_ID, len(IDENTIFICATION)]) + IDENTIFICATION
            if request.function in (READ_HOLDING, READ_INPUT):
                return self._read(request)
            if request.function not in WRITES:
                raise Refusal(ILLEGAL_FUNCTION)
            return self._write(request, pdu, carries_out)
        except Refusal as refusal:
            return bytes([request.function | 0x80, refusal.code])

    def _read(self, request):
        table = self._holding if request.function == READ_HOLDING else self._input
        addresses = range(request.address, request.address + request.values[0])
        if any(address not in table for address in addresses):
            raise Refusal(ILLEGAL_ADDRESS)
        values = [table[address] for address in addresses]
        return struct.pack(f">BB{len(values)}H", request.function, 2 * len(values), *values)

    def _write(self, request, pdu, carries_out):
        table = self._coils if request.function == WRITE_COIL else self._holding
        writes = [(request.address + at, value) for at, value in enumerate(request.values)]
        if any(address not in table for address, _ in writes):
            raise Refusal(ILLEGAL_ADDRESS)
        if request.function == WRITE_COIL and request.values[0] not in (COIL_ON, COIL_OFF):
            raise Refusal(ILLEGAL_VALUE)
        if carries_out:
            for address, value in writes:
                table[address] = value
                self.stored.append(Stored(request.function, address, value))
        return pdu[:5]

    def _deliver_bent(self, connection, answer, before):
        """Whether the connection is served further."""
        delivery = self._bend.deliver(answer, before)
        for delay, piece in delivery.pieces:
            if delay > 0 and self._is_over.wait(delay):
                return False
            connection.sendall(piece)
        if delivery.end == RESET:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        assert delivery.end in (NO_END, CLOSE, RESET)
        return delivery.end == NO_END


def receive(connection, count):
    """So many bytes, or fewer when the other side has ended."""
    data = b""
    while len(data) < count:
        piece = connection.recv(count - len(data))
        if not piece:
            break
        data += piece
    return data


def frame(transaction, unit, pdu):
    return struct.pack(">HHHB", transaction, 0, len(pdu) + 1, unit) + pdu


def main(arguments):
    names = {bend.name: bend for bend in BENDS}
    if len(arguments) not in (0, 2, 3) or (arguments and arguments[0] not in names):
        print(__doc__, file=sys.stderr)
        return 2
    bend = names[arguments[0]] if arguments else None
    carries_out = not arguments or arguments[1] == "carried"
    controller = ForeignController(bend, carries_out, int(arguments[2]) if len(arguments) > 2 else 1)
    print(controller.port, flush=True)
    sys.stdin.read()
    controller.close()
    for write in controller.stored:
        print(f"0x{write.function:02x} {write.address} = {write.value}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
