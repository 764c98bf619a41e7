"""Exceptions of the sarvik package."""


class Error(Exception):
    """A failed operation of the SDK.

    status: the module's status (a negative number), or None when the failure
        is the binding's own (a closed stream, a released frame).
    status_name: a short name of the status ("timed out", "invalid device").
    last_error: the module's last-error code for this failure (0x8030xxxx), or
        0 when the failure sets none. The module keeps the code per thread and
        offers no way to read it back, so the binding fills in the code that
        the module documents for this status at this operation.
    """

    def __init__(self, message, status=None, last_error=0, status_name=None):
        super().__init__(message)
        self.status = status
        self.last_error = last_error
        self.status_name = status_name


class Timeout(Error, TimeoutError):
    """No frame or stream became ready within the time given."""
