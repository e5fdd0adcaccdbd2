"""Reads one holding register with pymodbus' blocking client, as a bench engineer's script would.

usage: pymodbus_reads.py PORT ADDRESS; for each number N on standard input the median time of N reads in
microseconds on standard output.
"""
import statistics
import sys
import time

from pymodbus.client import ModbusTcpClient

client = ModbusTcpClient("127.0.0.1", port=int(sys.argv[1]))
address = int(sys.argv[2])
client.connect()
for line in sys.stdin:
    times = []
    for _ in range(int(line)):
        start = time.perf_counter_ns()
        answer = client.read_holding_registers(address, 1, slave=1)
        if answer.isError():
            sys.exit(f"pymodbus: {answer}")
        times.append((time.perf_counter_ns() - start) / 1000)
    print(statistics.median(times), flush=True)
