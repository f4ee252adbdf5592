"""Has the workers of a Dask cluster do a sequence of tasks, of which only a few wait at a time."""

from __future__ import annotations

import itertools
import queue
import time
import uuid
from collections import deque
from typing import (Any, Callable, Deque, Dict, Iterable, Iterator, List, Optional, Protocol,
                    Tuple, TypeVar)

from .errors import BulkError

T = TypeVar("T")
R = TypeVar("R")

#: For each thread of the workers: one task to do, and others so that none waits for the scheduler.
_TASKS_A_THREAD = 3
_SECONDS_BETWEEN_LOOKS = 2.0
_LOST = "the scheduler was lost, or told to stop"


class Future(Protocol):
    """What is used of a ``distributed.Future``."""

    key: str
    status: str

    def add_done_callback(self, function: Callable[[Any], Any]) -> None: ...
    def result(self) -> Any: ...
    def release(self) -> None: ...


class Client(Protocol):
    """What is used of a ``distributed.Client``, which has no types."""

    status: str

    def nthreads(self) -> Dict[str, int]: ...
    def submit(self, function: Callable[..., Any], *arguments: Any, **options: Any) -> Any: ...
    def cancel(self, futures: List[Any]) -> Any: ...


class Window:
    """Tasks in flight: ``limit`` follows the number of workers, which may come and go."""

    def __init__(self, client: Client) -> None:
        self._client = client
        self._looked = -_SECONDS_BETWEEN_LOOKS
        self._limit = 0
        #: The most tasks that were in flight at a time, or done and not yet taken.
        self.most = 0

    def limit(self) -> int:
        if time.monotonic() - self._looked >= _SECONDS_BETWEEN_LOOKS:
            threads = sum(self._client.nthreads().values())
            self._limit = max(2, _TASKS_A_THREAD * threads)
            self._looked = time.monotonic()
        return self._limit

    def run(self, function: Callable[[T], R], tasks: Iterable[T],
            rescue: Callable[[T], R], idle: Callable[[], None] = lambda: None,
            ordered: bool = False) -> Iterator[R]:
        """The results of a function for tasks, as they come, or in their order.

        Tasks are taken as there is room for them, and none while nobody asks for results.
        ``rescue`` gives the result of a task that ended too many workers, ``idle`` is called twice
        a second. What the function raises ends all of it; so does closing the iterator.
        """
        done: queue.SimpleQueue[Future] = queue.SimpleQueue()
        waiting: Deque[str] = deque()  # the names of the tasks in their order
        running: Dict[str, Tuple[Future, T]] = {}
        results: Dict[str, R] = {}
        source = iter(tasks)
        run = uuid.uuid4().hex[:8]
        numbers = itertools.count()
        exhausted = False
        try:
            while True:
                while not exhausted and len(waiting) < self.limit():
                    task: Optional[T] = next(source, None)
                    if task is None:
                        exhausted = True
                        break
                    # A name of its own: Dask does a pure task once and remembers its result.
                    name = f"structure-ingest-rows-{run}-{next(numbers)}"
                    future = self._client.submit(function, task, key=name, pure=False, retries=2)
                    running[name] = (future, task)
                    waiting.append(name)
                    future.add_done_callback(done.put)
                    self.most = max(self.most, len(waiting))
                if not waiting:
                    return
                try:
                    future = done.get(timeout=0.5)
                except queue.Empty:
                    idle()
                    continue
                _, done_task = running.pop(future.key)
                results[future.key] = _result_of(future, done_task, rescue)
                future.release()
                if not ordered:
                    waiting.remove(future.key)
                    yield results.pop(future.key)
                while ordered and waiting and waiting[0] in results:
                    yield results.pop(waiting.popleft())
        except OSError as error:
            if error.errno is not None:
                raise  # a worker cannot read a folder or write
            raise BulkError(_LOST) from error
        finally:
            if self._client.status == "running":
                self._client.cancel([future for future, _ in running.values()])


def _result_of(future: Future, task: Any, rescue: Callable[[Any], R]) -> R:
    from distributed import CancelledError, KilledWorker

    try:
        result: R = future.result()
    except KilledWorker:
        return rescue(task)
    except CancelledError as error:
        raise BulkError(_LOST) from error
    return result
