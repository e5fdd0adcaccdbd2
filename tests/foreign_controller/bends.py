"""The ways in which the controller bends an answer to a write.

Each makes a Delivery of the answer as it should be: pieces, each with the seconds before it, and what becomes
of the connection. "before" is the answer that this connection has had last.
"""

import struct
from collections import namedtuple

NO_END, CLOSE, RESET = "open", "close", "reset"

# What an answer says, and so how the order has to end.
ACKNOWLEDGED = "acknowledged"    # the good answer is there, in time and first
# Behind a connection that is given up there may be another controller: what is left of the order is not sent.
AND_MORE = "acknowledged, and bytes that nobody has asked for"
REFUSED = "refused"              # an exception that says that it is not done
UNKNOWN = "unknown"              # anything else
TWO_MINDS = "acknowledged, and the rest may meet the next request"

# Which writes are bent: carried out before the answer, left undone, or one each.
BOTH = (True, False)
# Whoever acknowledges what he has not done, or refuses what he has, is beyond finding out.
ONLY_CARRIED = (True,)
ONLY_UNTOUCHED = (False,)

WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS = 0x05, 0x06, 0x10
EVERY_WRITE = (WRITE_COIL, WRITE_REGISTER, WRITE_REGISTERS)
OF_VALUE = (WRITE_COIL, WRITE_REGISTER)
OF_COUNT = (WRITE_REGISTERS,)

HEADER_SIZE = 7
LATE = 1.0
BETWEEN_BYTES = 0.003
OTHER_FUNCTION = {WRITE_COIL: WRITE_REGISTER, WRITE_REGISTER: WRITE_REGISTERS, WRITE_REGISTERS: WRITE_REGISTER}

Delivery = namedtuple("Delivery", "pieces end")
Bend = namedtuple("Bend", "name says carried functions deliver")


def at_once(data, end=NO_END):
    return Delivery([(0, data)] if data else [], end)


def pdu_of(answer):
    return answer[HEADER_SIZE:]


def with_word(answer, at, change):
    """The word at an offset changed."""
    word = struct.unpack_from(">H", answer, at)[0]
    return answer[:at] + struct.pack(">H", change(word) & 0xFFFF) + answer[at + 2:]


def with_pdu(answer, pdu):
    """The same header with another content, and a length field that fits it."""
    return answer[:4] + struct.pack(">H", len(pdu) + 1) + answer[6:7] + pdu


def with_next_transaction(answer):
    return with_word(answer, 0, lambda word: word + 1)


def with_function(answer, function, rest):
    return with_pdu(answer, bytes([function]) + rest)


def other_function(answer):
    return OTHER_FUNCTION[pdu_of(answer)[0]]


def exception(code):
    return lambda answer, before: at_once(with_function(answer, pdu_of(answer)[0] | 0x80, bytes([code])))


def bent(change):
    """What is there at once, of the good answer alone."""
    return lambda answer, before: at_once(change(answer))


def other_value(answer):
    return with_word(answer, HEADER_SIZE + 3, lambda word: word ^ 0xFF00)


BENDS = [
    Bend("no answer", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: b"")),
    Bend("late", UNKNOWN, BOTH, EVERY_WRITE, lambda answer, before: Delivery([(LATE, answer)], NO_END)),
    Bend("twice", AND_MORE, ONLY_CARRIED, EVERY_WRITE, bent(lambda answer: answer + answer)),
    Bend("twice, apart", TWO_MINDS, ONLY_CARRIED, EVERY_WRITE,
         lambda answer, before: Delivery([(0, answer), (0.01, answer)], NO_END)),
    Bend("cut in the header", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: answer[:5])),
    Bend("cut in the middle", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: answer[:-2])),
    Bend("one byte less", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: with_pdu(answer, pdu_of(answer)[:-1]))),
    Bend("one byte more", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_pdu(answer, pdu_of(answer) + b"\x00"))),
    Bend("wrong unit", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: answer[:6] + b"\x08" + answer[7:])),
    Bend("wrong transaction", UNKNOWN, BOTH, EVERY_WRITE, bent(with_next_transaction)),
    Bend("wrong protocol", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: with_word(answer, 2, lambda word: 1))),
    Bend("length field too small", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_word(answer, 4, lambda word: word - 1))),
    Bend("length field too large", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_word(answer, 4, lambda word: word + 1))),
    Bend("wrong function", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_function(answer, other_function(answer), pdu_of(answer)[1:]))),
    Bend("exception 1", REFUSED, ONLY_UNTOUCHED, EVERY_WRITE, exception(1)),
    Bend("exception 2", REFUSED, ONLY_UNTOUCHED, EVERY_WRITE, exception(2)),
    Bend("exception 3", REFUSED, ONLY_UNTOUCHED, EVERY_WRITE, exception(3)),
    Bend("exception 4", UNKNOWN, BOTH, EVERY_WRITE, exception(4)),
    Bend("exception 5", UNKNOWN, BOTH, EVERY_WRITE, exception(5)),
    Bend("exception 6", REFUSED, ONLY_UNTOUCHED, EVERY_WRITE, exception(6)),
    Bend("exception 11", UNKNOWN, BOTH, EVERY_WRITE, exception(11)),
    Bend("exception of another function", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_function(answer, other_function(answer) | 0x80, b"\x02"))),
    Bend("echo of another address", UNKNOWN, BOTH, EVERY_WRITE,
         bent(lambda answer: with_word(answer, HEADER_SIZE + 1, lambda word: word + 1))),
    Bend("echo of another value", UNKNOWN, BOTH, OF_VALUE, bent(other_value)),
    Bend("echo of another count", UNKNOWN, BOTH, OF_COUNT,
         bent(lambda answer: with_word(answer, HEADER_SIZE + 3, lambda word: word + 1))),
    Bend("garbage before", UNKNOWN, BOTH, EVERY_WRITE, bent(lambda answer: b"\xa5\x5a\x3c\xc3\x7e" + answer)),
    Bend("garbage after", AND_MORE, ONLY_CARRIED, EVERY_WRITE,
         bent(lambda answer: answer + b"\xa5\x5a\x3c\xc3\x7e")),
    Bend("closed before the answer", UNKNOWN, BOTH, EVERY_WRITE, lambda answer, before: at_once(b"", CLOSE)),
    Bend("reset before the answer", UNKNOWN, BOTH, EVERY_WRITE, lambda answer, before: at_once(b"", RESET)),
    Bend("closed in the middle", UNKNOWN, BOTH, EVERY_WRITE,
         lambda answer, before: at_once(answer[:-2], CLOSE)),
    Bend("the answer before", UNKNOWN, BOTH, EVERY_WRITE, lambda answer, before: at_once(before)),
    Bend("the answer before, renumbered", UNKNOWN, BOTH, EVERY_WRITE,
         lambda answer, before: at_once(answer[:2] + before[2:])),
    Bend("two answers in one segment", AND_MORE, ONLY_CARRIED, EVERY_WRITE,
         bent(lambda answer: answer + with_next_transaction(answer))),
    Bend("byte by byte", ACKNOWLEDGED, ONLY_CARRIED, EVERY_WRITE,
         lambda answer, before: Delivery([(BETWEEN_BYTES, bytes([byte])) for byte in answer], NO_END)),
]
