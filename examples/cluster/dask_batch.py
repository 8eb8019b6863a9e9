#!/usr/bin/env python3
"""Answers the chunks of an archive with Dask: on workers of this machine, or on those of a scheduler.

usage: dask_batch.py CHUNKS ANSWERS [--mfx MFX] [--scheduler ADDRESS | --workers N]

  CHUNKS     folder made by make_chunks.sh
  ANSWERS    folder for the answers; join_answers.sh prints them in order
  MFX        the program mfx, if not the one that is found
  ADDRESS    of a scheduler that is there, as tcp://host:8786; CHUNKS, ANSWERS, the archive, mfx and this
             folder have to stand at the same places on the machines of its workers
  N          workers on this machine (as many as there are processors)

A task is one chunk, which answer_chunk.sh pipes through mfx. The chunk of a worker that is lost is given
to another one, up to 3 times. Call it again after it was broken off. Exits with 1 when a chunk has no
answers.
"""
import argparse
import itertools
import os
import shutil
import subprocess
import sys

import dask
from distributed import Client, LocalCluster, as_completed

HERE = os.path.dirname(os.path.realpath(__file__))
TRIES = 3
WAITING_PER_WORKER = 4  # chunks: the scheduler's memory does not grow with the archive


def answer(script, mfx, chunks, answers, name):
    """Answers one chunk, on a worker.

    Returns what went wrong, or an empty text. An exception would be sent back with its traceback.
    """
    run = subprocess.run([script, mfx, chunks, answers, name], stdin=subprocess.DEVNULL,
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    if run.returncode == 0:
        return ""
    return run.stderr.decode(errors="replace").strip() or f"chunk {name}: status {run.returncode}"


def unfinished(chunks, answers):
    run = subprocess.run([f"{HERE}/unfinished.sh", chunks, answers], stdout=subprocess.PIPE,
                         check=False)
    if run.returncode != 0:
        sys.exit(run.returncode)
    return run.stdout.decode().split()


def answer_all(client, arguments, names):
    """Keeps a few chunks in the hands of each worker until all had their turn."""
    def submit(name):
        return client.submit(answer, f"{HERE}/answer_chunk.sh", arguments.mfx, arguments.chunks,
                             arguments.answers, name, pure=False, retries=TRIES)

    waiting = iter(names)
    workers = max(1, len(client.scheduler_info()["workers"]))
    futures = as_completed(
        [submit(name) for name in itertools.islice(waiting, WAITING_PER_WORKER * workers)])
    for future in futures:
        trouble = str(future.exception()) if future.status == "error" else future.result()
        if trouble:
            print(f"dask_batch: {trouble}", file=sys.stderr)
        for name in itertools.islice(waiting, 1):
            futures.add(submit(name))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("chunks")
    parser.add_argument("answers")
    parser.add_argument("--mfx", default="mfx")
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler")
    where.add_argument("--workers", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    program = shutil.which(arguments.mfx)
    if program is None:
        sys.exit(f"dask_batch: there is no program {arguments.mfx}")
    if arguments.workers < 1:
        sys.exit("dask_batch: --workers has to be 1 or more")
    arguments.mfx = os.path.realpath(program)
    names = unfinished(arguments.chunks, arguments.answers)
    arguments.chunks = os.path.realpath(arguments.chunks)
    arguments.answers = os.path.realpath(arguments.answers)
    if names:
        # A worker that is killed is no fault of the chunk that it had.
        dask.config.set({"distributed.scheduler.allowed-failures": TRIES})
        if arguments.scheduler:
            try:
                client = Client(arguments.scheduler)
            except (OSError, ValueError) as error:
                sys.exit(f"dask_batch: no scheduler at {arguments.scheduler}: {error}")
            with client:
                answer_all(client, arguments, names)
        else:
            with LocalCluster(n_workers=arguments.workers, threads_per_worker=1,
                              dashboard_address=None) as cluster, Client(cluster) as client:
                answer_all(client, arguments, names)
    left = unfinished(arguments.chunks, arguments.answers)
    if left:
        sys.exit(f"dask_batch: {len(left)} chunks have no answers, the first is {left[0]}")


if __name__ == "__main__":
    main()
