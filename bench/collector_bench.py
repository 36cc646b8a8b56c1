#!/usr/bin/python3
"""The collector while many programs crash at the same moment: packets with their pauses, over real sockets. Prints
figures and judges none, but fails when a report is missing or not whole. collector_bench.py COLLECTOR"""

import os
import select
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import time

PAUSE = 0.01
REPORT = "launcher runSsh()\r\n" * 1260
ROUNDS = 5


def packets(source):
    text = f"{source}\x0e1.2\x0enow\x0e{REPORT}".encode()
    count, identity = -(-len(text) // 240), os.urandom(11)
    return [struct.pack("<BHH", 1, count, index) + identity + text[240 * index:240 * (index + 1)]
            for index in range(count)]


def connect(path):
    client = socket.socket(socket.AF_UNIX)
    while client.connect_ex(path) != 0:
        time.sleep(0.001)
    return client


def send(clients, texts):
    """One packet of each client, a pause, the next packet of each; then they hang up."""
    begin = time.monotonic()
    for index in range(len(texts[0])):
        for client, text in zip(clients, texts):
            client.sendall(text[index])
        time.sleep(max(0.0, begin + (index + 1) * PAUSE - time.monotonic()))
    for client in clients:
        client.close()


def readUntil(output, isAll):
    text = b""
    while not isAll(text):
        if not select.select([output], [], [], 60)[0]:
            sys.exit("reports are missing")
        text += os.read(output.fileno(), 1 << 20)
    return text


def wholeText(source):
    return f"Source: {source}\nVersion: 1.2\nDate: now\n\n{REPORT}\n".replace("\r", "").encode()


def areWhole(lines):
    """Of the files that are named, those that were not pruned."""
    contents = []
    for path in filter(os.path.exists, lines.decode().splitlines()):
        with open(path, "rb") as file:
            contents.append(file.read() + b"\n")
    sources = {content.split()[1].decode() for content in contents}
    return contents and sorted(contents) == sorted(map(wholeText, sources))


def run(collector, folder, count, words):
    """Seconds until the last report was kept or printed, and the collector's peak memory in KiB."""
    path = folder + "/quelto/org.quelto.suite.comm/crash"
    environment = {"XDG_RUNTIME_DIR": folder, "XDG_STATE_HOME": folder + "/state"}
    with subprocess.Popen([collector, *words], bufsize=0, env=environment, stdout=subprocess.PIPE) as process:
        clients = [connect(path) for _ in range(count)]
        texts = [packets(f"client{number}") for number in range(count)]
        expected = [wholeText(f"client{number}") for number in range(count)]
        begin = time.monotonic()
        sender = threading.Thread(target=send, args=(clients, texts))
        sender.start()
        if words:
            output = readUntil(process.stdout, lambda text: len(text) == sum(map(len, expected)))
            isWhole = all(text in output for text in expected)
        else:
            output = readUntil(process.stdout, lambda text: text.count(b"\n") == count)
            isWhole = areWhole(output)
        elapsed = time.monotonic() - begin
        sender.join()
        with open(f"/proc/{process.pid}/status") as status:
            [memory] = [int(line.split()[1]) for line in status if line.startswith("VmHWM")]
        process.terminate()
    if not isWhole:
        sys.exit("a report is not whole")
    return elapsed, memory


def main(collector):
    length = len(packets("client0"))
    print(f"Reports of {len(REPORT) // 1000} KB from clients that crash at once, {length} packets each: "
          f"milliseconds until all are there, median of {ROUNDS}")
    print(f"  {'':34} {'median':>9} {'floor':>9} {'added':>9} {'peak MiB':>9}")
    for name, parent, words in (("kept on disk", None, ()), ("kept in memory", "/dev/shm", ()), ("printed", None, ("--print",))):
        for count in (1, 200):
            times, peaks = [], []
            for _ in range(ROUNDS):
                with tempfile.TemporaryDirectory(dir=parent) as folder:
                    elapsed, memory = run(collector, folder, count, words)
                times.append(elapsed)
                peaks.append(memory)
            median, floor = statistics.median(times), length * PAUSE
            print(f"  {f'{count} clients, {name}':34} {median * 1000:9.0f} {floor * 1000:9.0f} "
                  f"{(median - floor) * 1000:+9.0f} {max(peaks) / 1024:9.1f}", flush=True)


main(sys.argv[1])
