# SPDX-FileCopyrightText: 2026 The zel_exec developers
# SPDX-License-Identifier: MIT
"""The front-end's side of zel_exec, over libzelclient: batches checked against the
command table, one call at a time per board, lock refusals retried without repeating
what ran, time-outs that leave the hardware safe, and typed outcomes.

    import zel_client
    client = zel_client.Client()
    outcome = client.run([(201, 1), (202, 3)], timeout=5.0)
    if outcome.kind is not zel_client.Kind.OK:
        print(outcome.message)
"""
import ctypes
import dataclasses
import enum
import errno
import os

__all__ = ["Kind", "Reason", "Command", "Outcome", "CallError", "Call", "Submitter", "Client", "COMMANDS"]

_lib = ctypes.CDLL("libzelclient.so.1", use_errno=True)


class Kind(enum.Enum):
    """What a call came to, in the order of the C library's enum zel_kind."""
    OK = 0
    USAGE = 1
    UNKNOWN_COMMAND = 2
    BAD_PARAMETER = 3
    NOT_ROOT = 4
    INTERNAL = 5
    FAILED = 6
    BUSY = 7
    NOT_AUTHORIZED = 8
    TOOL_MISSING = 9
    TIMED_OUT = 10
    KILLED = 11


class Reason(enum.Enum):
    """Why sudo refused, for Kind.NOT_AUTHORIZED."""
    NONE = 0
    NOT_IN_GROUP = 1
    MEMBERSHIP_NOT_EFFECTIVE = 2
    NO_RULE = 3


_SETTINGS = {"fanMode": 0, "fanLevel": 1, "black": 2}
_POLICY_LATEST, _POLICY_DROP = 0, 1


def _declare(name, restype, *argtypes):
    function = getattr(_lib, name)
    function.restype = restype
    function.argtypes = argtypes
    return function


_c_int_p = ctypes.POINTER(ctypes.c_int)
_c_size_p = ctypes.POINTER(ctypes.c_size_t)
_command_count = _declare("zel_command_count", ctypes.c_size_t)
_command_id = _declare("zel_command_id", ctypes.c_int, ctypes.c_size_t)
_command_name = _declare("zel_command_name", ctypes.c_char_p, ctypes.c_int)
_command_arg_count = _declare("zel_command_arg_count", ctypes.c_int, ctypes.c_int)
_command_arg_min = _declare("zel_command_arg_min", ctypes.c_int, ctypes.c_int, ctypes.c_int)
_command_arg_max = _declare("zel_command_arg_max", ctypes.c_int, ctypes.c_int, ctypes.c_int)
_command_worst_case_ms = _declare("zel_command_worst_case_ms", ctypes.c_long, ctypes.c_int, _c_int_p,
                                  ctypes.c_size_t)
_command_repeatable = _declare("zel_command_repeatable", ctypes.c_bool, ctypes.c_int)
_batch_new = _declare("zel_batch_new", ctypes.c_void_p)
_batch_free = _declare("zel_batch_free", None, ctypes.c_void_p)
_batch_add = _declare("zel_batch_add", ctypes.c_int, ctypes.c_void_p, ctypes.c_int, _c_int_p, ctypes.c_size_t)
_client_new = _declare("zel_client_new", ctypes.c_void_p)
_client_free = _declare("zel_client_free", None, ctypes.c_void_p)
_client_set_command = _declare("zel_client_set_command", ctypes.c_int, ctypes.c_void_p,
                               ctypes.POINTER(ctypes.c_char_p))
_client_set_root = _declare("zel_client_set_root", ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p)
_client_run = _declare("zel_client_run", ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint,
                       ctypes.POINTER(ctypes.c_void_p))
_client_start = _declare("zel_client_start", ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint,
                         ctypes.POINTER(ctypes.c_void_p))
_call_fd = _declare("zel_call_fd", ctypes.c_int, ctypes.c_void_p)
_call_cancel = _declare("zel_call_cancel", None, ctypes.c_void_p)
_call_finish = _declare("zel_call_finish", ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p))
_read_setting = _declare("zel_client_read_setting", ctypes.c_int, ctypes.c_void_p, ctypes.c_int, ctypes.c_uint,
                         _c_int_p)
_read_power = _declare("zel_client_read_power", ctypes.c_int, ctypes.c_void_p, ctypes.c_uint,
                       ctypes.POINTER(ctypes.c_bool), ctypes.POINTER(ctypes.c_void_p))
_outcome_free = _declare("zel_outcome_free", None, ctypes.c_void_p)
_outcome_kind = _declare("zel_outcome_kind", ctypes.c_int, ctypes.c_void_p)
_outcome_group = _declare("zel_outcome_group", ctypes.c_int, ctypes.c_void_p)
_outcome_command = _declare("zel_outcome_command", ctypes.c_int, ctypes.c_void_p)
_outcome_status = _declare("zel_outcome_status", ctypes.c_int, ctypes.c_void_p)
_outcome_signal = _declare("zel_outcome_signal", ctypes.c_int, ctypes.c_void_p)
_outcome_reason = _declare("zel_outcome_reason", ctypes.c_int, ctypes.c_void_p)
_outcome_message = _declare("zel_outcome_message", ctypes.c_char_p, ctypes.c_void_p)
_outcome_stdout = _declare("zel_outcome_stdout", ctypes.c_void_p, ctypes.c_void_p, _c_size_p)
_outcome_stderr = _declare("zel_outcome_stderr", ctypes.c_void_p, ctypes.c_void_p, _c_size_p)
_outcome_serialised = _declare("zel_outcome_serialised", ctypes.c_bool, ctypes.c_void_p)
_submitter_new = _declare("zel_submitter_new", ctypes.c_int, ctypes.c_void_p, ctypes.c_int, ctypes.c_int,
                          ctypes.c_uint, ctypes.POINTER(ctypes.c_void_p))
_submitter_submit = _declare("zel_submitter_submit", ctypes.c_int, ctypes.c_void_p, _c_int_p, ctypes.c_size_t)
_submitter_wait = _declare("zel_submitter_wait", ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p))
_submitter_free = _declare("zel_submitter_free", None, ctypes.c_void_p)


def _check(result):
    """A negative errno from the library becomes the OSError it names."""
    if result < 0:
        raise OSError(-result, os.strerror(-result))
    return result


@dataclasses.dataclass(frozen=True)
class Command:
    """One command of the tool: its arguments' ranges, how long it may take, whether repeating it is harmless."""
    id: int
    name: str
    ranges: tuple
    repeatable: bool

    def worst_case_ms(self, *args):
        """The longest the tool may take for this command by design, a pulse included."""
        values = (ctypes.c_int * len(args))(*args)
        return _command_worst_case_ms(self.id, values, len(args))


COMMANDS = {
    command.id: command for command in (
        Command(identifier, _command_name(identifier).decode(),
                tuple((_command_arg_min(identifier, arg), _command_arg_max(identifier, arg))
                      for arg in range(_command_arg_count(identifier))),
                bool(_command_repeatable(identifier)))
        for identifier in (_command_id(index) for index in range(_command_count())))
}


@dataclasses.dataclass(frozen=True)
class Outcome:
    """What one call came to. group is the group named by the diagnostic, or the last one that ran;
    status is the exit status (None after a signal), signal the signal that ended it (None)."""
    kind: Kind
    group: int
    command: int
    status: object
    signal: object
    reason: Reason
    message: str
    stdout: str
    stderr: str
    serialised: bool


def _stream(getter, outcome):
    length = ctypes.c_size_t()
    data = getter(outcome, ctypes.byref(length))
    return ctypes.string_at(data, length.value).decode("utf-8", "replace")


def _take_outcome(pointer):
    """Copies the C outcome into an Outcome and frees it."""
    try:
        status, signal = _outcome_status(pointer), _outcome_signal(pointer)
        return Outcome(kind=Kind(_outcome_kind(pointer)), group=_outcome_group(pointer),
                       command=_outcome_command(pointer), status=status if status >= 0 else None,
                       signal=signal or None, reason=Reason(_outcome_reason(pointer)),
                       message=_outcome_message(pointer).decode("utf-8", "replace"),
                       stdout=_stream(_outcome_stdout, pointer), stderr=_stream(_outcome_stderr, pointer),
                       serialised=bool(_outcome_serialised(pointer)))
    finally:
        _outcome_free(pointer)


def _arguments(values):
    for value in values:
        if isinstance(value, bool) or not isinstance(value, int):
            raise TypeError(f"command arguments are integers, not {type(value).__name__}: {value!r}")
    return (ctypes.c_int * max(len(values), 1))(*values), len(values)


class _Batch:
    """A C batch built from (id, arg, ...) tuples, refused whole before anything runs."""

    def __init__(self, groups):
        self.pointer = _batch_new()
        if not self.pointer:
            raise MemoryError()
        try:
            groups = list(groups)
            if not groups:
                raise ValueError("a batch holds 1 to 64 groups")
            for group in groups:
                identifier, *values = group
                _arguments([identifier])
                args, count = _arguments(values)
                result = _batch_add(self.pointer, identifier, args, count)
                if result == -errno.E2BIG:
                    raise ValueError("a batch holds 1 to 64 groups")
                if result < 0:
                    raise ValueError(f"the tool refuses {tuple(group)}: {os.strerror(-result)}")
        except BaseException:
            _batch_free(self.pointer)
            raise

    def __enter__(self):
        return self.pointer

    def __exit__(self, *_):
        _batch_free(self.pointer)


def _milliseconds(timeout):
    if timeout < 0:
        raise ValueError("a time-out is not negative")
    return int(timeout * 1000)


class CallError(Exception):
    """A read whose call did not succeed; outcome says why."""

    def __init__(self, outcome):
        super().__init__(f"{outcome.kind.name}: {outcome.message}")
        self.outcome = outcome


class Call:
    """A call started for an event loop: wait until fileno() is readable, then finish()."""

    def __init__(self, client, pointer):
        self._client = client  # the call uses the client until it is finished
        self._pointer = pointer

    def fileno(self):
        return _call_fd(self._pointer)

    def cancel(self):
        """Stops the call as its deadline would: the running command completes, no later one runs."""
        _call_cancel(self._pointer)

    def finish(self):
        """The outcome; blocks until the call has one. Once only."""
        outcome = ctypes.c_void_p()
        pointer, self._pointer = self._pointer, None
        _check(_call_finish(pointer, ctypes.byref(outcome)))
        return _take_outcome(outcome)


class _Handle:
    """A C object of the library, freed by close(), at the end of a with block, or when collected."""
    _pointer = None
    _free = None

    def close(self):
        """Frees the C object; a submitter sends what is pending and waits for it first."""
        if self._pointer:
            type(self)._free(self._pointer)
            self._pointer = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __del__(self):
        self.close()


class Submitter(_Handle):
    """One command sent from a UI control, at most one call in flight."""
    _free = staticmethod(_submitter_free)

    def __init__(self, client, identifier, policy, timeout):
        self._client = client  # the C submitter uses the client until it is closed
        pointer = ctypes.c_void_p()
        _check(_submitter_new(client._pointer, identifier, policy, _milliseconds(timeout), ctypes.byref(pointer)))
        self._pointer = pointer

    def submit(self, *values):
        """True when the values will be sent, False when a pulse in flight dropped them."""
        args, count = _arguments(values)
        result = _submitter_submit(self._pointer, args, count)
        if result < 0:
            raise ValueError(f"the tool refuses {values}: {os.strerror(-result)}")
        return result == 1

    def wait(self):
        """Waits until nothing is in flight or pending; the last outcome since the previous wait, or None."""
        outcome = ctypes.c_void_p()
        _check(_submitter_wait(self._pointer, ctypes.byref(outcome)))
        return _take_outcome(outcome) if outcome.value else None


class Client(_Handle):
    """How to reach the board. command replaces sudo and the tool (a stand-in for tests); root is a
    directory that stands for / when the board's lock file and settings files are looked for."""
    _free = staticmethod(_client_free)

    def __init__(self, command=None, root=None):
        self._pointer = _client_new()
        if not self._pointer:
            raise MemoryError()
        if command is not None:
            argv = (ctypes.c_char_p * (len(command) + 1))(*(os.fsencode(word) for word in command), None)
            _check(_client_set_command(self._pointer, argv))
        if root is not None:
            _check(_client_set_root(self._pointer, os.fsencode(root)))

    def run(self, groups, timeout=10.0):
        """Runs a batch of (id, arg, ...) groups; returns its Outcome."""
        with _Batch(groups) as batch:
            outcome = ctypes.c_void_p()
            _check(_client_run(self._pointer, batch, _milliseconds(timeout), ctypes.byref(outcome)))
        return _take_outcome(outcome)

    def start(self, groups, timeout=10.0):
        """Starts a batch for an event loop; see Call."""
        with _Batch(groups) as batch:
            call = ctypes.c_void_p()
            _check(_client_start(self._pointer, batch, _milliseconds(timeout), ctypes.byref(call)))
        return Call(self, call)

    def read_setting(self, name, timeout=1.0):
        """The value the tool saved in "fanMode", "fanLevel" or "black", or None when the board holds none."""
        if name not in _SETTINGS:
            raise ValueError(f"no setting {name!r}: one of {', '.join(_SETTINGS)}")
        value = ctypes.c_int()
        if _check(_read_setting(self._pointer, _SETTINGS[name], _milliseconds(timeout), ctypes.byref(value))):
            return value.value
        return None

    def read_power(self, timeout=12.0):
        """The two device power lines, as device-power-read (502) reads them: (line 7, line 21)."""
        power = (ctypes.c_bool * 2)()
        outcome = ctypes.c_void_p()
        result = _read_power(self._pointer, _milliseconds(timeout), power, ctypes.byref(outcome))
        taken = _take_outcome(outcome) if outcome.value else None
        if result == -errno.EIO:
            raise CallError(taken)
        _check(result)
        return bool(power[0]), bool(power[1])

    def latest(self, identifier, timeout=10.0):
        """A submitter for a slider: a newer value replaces the pending one."""
        return Submitter(self, identifier, _POLICY_LATEST, timeout)

    def dropping(self, identifier, timeout=15.0):
        """A submitter for a button: a value that comes while a call is in flight is dropped."""
        return Submitter(self, identifier, _POLICY_DROP, timeout)
