"""The judgement finds lies. Without that the table of the real bench would say nothing."""

import unittest

from bends import ACKNOWLEDGED, AND_MORE, REFUSED, UNKNOWN
from foreign_controller import Request, Stored, UNIT
from judgement import Known, Said, judge
from operations import OPERATIONS, configured, writes_of

LIMIT = 2.0


def requests(operation):
    return [Request(0, at, 0, UNIT, one.function, one.address, one.values)
            for at, one in enumerate(operation.requests)]


def truth(operation, code, is_stored):
    """The only write, or the last one, was not answered as it should."""
    writes = writes_of(operation.requests)
    stored = [Stored(one.function, one.address, one.values[0]) for one in writes]
    told = [configured(one) for one in writes]
    said = Said(code, 0.1, "", {"exitCode": code, "ok": code == 0}, told, [])
    if code != 0:
        said = said._replace(written=told[:-1], uncertain=told[-1:] if code == 9 else [])
    return said, Known(requests(operation), stored if is_stored else stored[:-1], 1, [])


class JudgementTest(unittest.TestCase):
    def setUp(self):
        self.operation = OPERATIONS[0]

    def found(self, says, said, known):
        return judge(self.operation, says, said, known, LIMIT)

    def expect(self, part, says, said, known):
        found = self.found(says, said, known)
        self.assertTrue(any(part in one for one in found), f"\"{part}\" is not among {found}")

    def test_truth(self):
        self.assertEqual(self.found(UNKNOWN, *truth(self.operation, 9, True)), [])
        self.assertEqual(self.found(UNKNOWN, *truth(self.operation, 9, False)), [])
        self.assertEqual(self.found(REFUSED, *truth(self.operation, 7, False)), [])
        self.assertEqual(self.found(ACKNOWLEDGED, *truth(self.operation, 0, True)), [])

    def test_stopped_behind_more(self):
        self.assertEqual(self.found(AND_MORE, *truth(self.operation, 0, True)), [])
        self.operation = next(one for one in OPERATIONS if len(writes_of(one.requests)) > one.bent_write)
        writes = writes_of(self.operation.requests)[:self.operation.bent_write]
        sent = self.operation.requests[:self.operation.requests.index(writes[-1]) + 1]
        said = Said(1, 0.1, "", {"exitCode": 1, "ok": False}, [configured(one) for one in writes], [])
        known = Known(requests(self.operation)[:len(sent)],
                      [Stored(one.function, one.address, one.values[0]) for one in writes], 1, [])
        self.assertEqual(self.found(AND_MORE, said, known), [])
        self.expect("exit code 9 instead of 1", AND_MORE, said._replace(end=9), known)
        self.expect("is not told as written", AND_MORE,
                    said._replace(written=said.written[:-1], uncertain=said.written[-1:]), known)
        self.expect("the connection was given up", AND_MORE, said,
                    known._replace(requests=requests(self.operation)))

    def test_change_that_is_not_told(self):
        said, known = truth(self.operation, 9, True)
        self.expect("neither written nor uncertain", UNKNOWN, said._replace(uncertain=[]), known)

    def test_change_to_another_value(self):
        said, known = truth(self.operation, 9, True)
        other = [(number, value + 1) for number, value in said.uncertain]
        self.expect("neither written nor uncertain", UNKNOWN, said._replace(uncertain=other), known)

    def test_nothing_was_written(self):
        said, known = truth(self.operation, 9, True)
        self.expect("\"nothing was written\" is said", UNKNOWN, said._replace(text="nothing was written"), known)

    def test_written_that_was_not(self):
        said, known = truth(self.operation, 9, False)
        lie = said._replace(written=said.uncertain, uncertain=[])
        self.expect("told as written and was not changed", UNKNOWN, lie, known)

    def test_uncertain_that_was_never_sent(self):
        said, known = truth(self.operation, 9, False)
        self.expect("never received", UNKNOWN, said._replace(uncertain=said.uncertain + [(1, 1)]), known)

    def test_told_twice(self):
        said, known = truth(self.operation, 9, True)
        self.expect("told twice", UNKNOWN, said._replace(written=said.uncertain), known)

    def test_done_that_was_not(self):
        said, known = truth(self.operation, 0, False)
        self.expect("not everything was carried out", ACKNOWLEDGED, said, known)
        self.expect("exit code 0 instead of 9", UNKNOWN, said, known)

    def test_document_of_another_end(self):
        said, known = truth(self.operation, 9, True)
        self.expect("another end", UNKNOWN, said._replace(document={"exitCode": 0, "ok": True}), known)

    def test_uncertain_that_was_refused(self):
        said, known = truth(self.operation, 9, False)
        self.expect("told as uncertain", REFUSED, said._replace(end=7), known)

    def test_bend_that_was_not_met(self):
        said, known = truth(self.operation, 9, True)
        self.expect("bent 0 times", UNKNOWN, said, known._replace(hits=0))

    def test_requests(self):
        said, known = truth(self.operation, 9, True)
        last = known.requests[-1]
        for part, other in (("other requests", last._replace(address=last.address + 1)),
                            ("another unit", last._replace(unit=1)),
                            ("transaction number", last._replace(transaction=0))):
            self.expect(part, UNKNOWN, said, known._replace(requests=known.requests[:-1] + [other]))
        again = known.requests + [last._replace(transaction=9)]
        self.expect("other requests", UNKNOWN, said, known._replace(requests=again))
        self.expect("2 writes", UNKNOWN, said, known._replace(requests=again))

    def test_end(self):
        said, known = truth(self.operation, 9, True)
        self.expect("did not end", UNKNOWN, said._replace(end=None), known)
        self.expect("s, 2.00 are allowed", UNKNOWN, said._replace(seconds=2.1), known)
