"""Holds what the bench says of an operation against what the controller knows of it."""

from collections import namedtuple

from bends import ACKNOWLEDGED, AND_MORE, REFUSED, TWO_MINDS, UNKNOWN
from foreign_controller import UNIT
from operations import Frame, configured, writes_of

EXIT_CODES = {ACKNOWLEDGED: (0,), REFUSED: (7,), UNKNOWN: (9,), TWO_MINDS: (0, 1, 9)}
STOPPED = 1

# "end" is the exit code, None when it had to be killed; "written" and "uncertain" are pairs of number and value.
Said = namedtuple("Said", "end seconds text document written uncertain")
# "stored" is what it has really changed, "hits" how many requests it has bent.
Known = namedtuple("Known", "requests stored hits problems")


def judge(operation, says, said, known, limit):
    """Sentences, one for each thing that is wrong. "says" is what the answer to the bent write says."""
    if said.end is None:
        return ["it did not end by itself"]
    return (wrong_claims(said, known) + wrong_end(operation, says, said, known) +
            wrong_requests(operation, says, said, known) + list(known.problems) +
            ([f"it took {said.seconds:.2f} s, {limit:.2f} are allowed"] if said.seconds > limit else []))


def pairs(frames):
    return [configured(frame) for frame in frames]


def wrong_claims(said, known):
    changed = pairs(stored_frames(known))
    wrong = []
    for pair in changed:
        if pair not in said.written + said.uncertain:
            wrong.append(f"register {pair[0]} was changed to {pair[1]}, and it is neither written nor uncertain")
    for pair in said.written:
        if pair not in changed:
            wrong.append(f"register {pair[0]} = {pair[1]} is told as written and was not changed")
    received = pairs(writes_of(frames_of(known.requests)))
    for pair in said.uncertain:
        if pair not in received:
            wrong.append(f"register {pair[0]} = {pair[1]} is told as uncertain and was never received")
    both = said.written + said.uncertain
    if len(set(both)) != len(both):
        wrong.append("a register is told twice")
    if changed and any(text in said.text for text in ("nothing was written", "nothing is written")):
        wrong.append("\"nothing was written\" is said, and something was")
    return wrong


def stored_frames(known):
    return [Frame(one.function, one.address, (one.value,)) for one in known.stored]


def exit_codes(operation, says):
    if says != AND_MORE:
        return EXIT_CODES[says]
    return (0 if len(writes_of(operation.requests)) == operation.bent_write else STOPPED,)


def wrong_end(operation, says, said, known):
    wrong = []
    codes = exit_codes(operation, says)
    if said.end not in codes:
        wrong.append(f"exit code {said.end} instead of {' or '.join(map(str, codes))}")
    if said.document.get("exitCode") != said.end or said.document.get("ok") is not (said.end == 0):
        wrong.append("the document has another end than the program")
    planned = pairs(writes_of(operation.requests))
    if said.end == 0 and (pairs(stored_frames(known)) != planned or said.written != planned):
        wrong.append("exit code 0, and not everything was carried out and told as written")
    if says == AND_MORE and (said.written != planned[:operation.bent_write] or said.uncertain):
        wrong.append("what was acknowledged, and that alone, is not told as written")
    if says == REFUSED and said.uncertain:
        wrong.append("the controller has said that it is not done, and it is told as uncertain")
    return wrong


def frames_of(requests):
    return [Frame(one.function, one.address, one.values) for one in requests]


def wrong_requests(operation, says, said, known):
    wrong = []
    if known.hits != 1:
        wrong.append(f"the answer was bent {known.hits} times instead of once")
    frames = frames_of(known.requests)
    if frames != operation.requests[:len(frames)]:
        wrong.append(f"other requests than the configuration means: {frames}")
    if any(one.unit != UNIT or one.protocol != 0 for one in known.requests):
        wrong.append("a request is for another unit or of another protocol")
    numbers = [(one.connection, one.transaction) for one in known.requests]
    if len(set(numbers)) != len(numbers):
        wrong.append("two requests of one connection have one transaction number")
    if says == AND_MORE and len(writes_of(frames)) != operation.bent_write:
        wrong.append(f"{len(writes_of(frames))} writes, and the connection was given up behind number "
                     f"{operation.bent_write}")
    if says in (UNKNOWN, REFUSED) and len(writes_of(frames)) != operation.bent_write:
        wrong.append(f"{len(writes_of(frames))} writes, and number {operation.bent_write} was not acknowledged")
    return wrong
