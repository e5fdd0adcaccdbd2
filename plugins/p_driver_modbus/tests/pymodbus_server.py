"""A Modbus TCP server of another make, for the driver's test.

Listens on a free port of the loopback and prints the port. Registers 0 to 199 read as their own
address, as do input registers; coils and discrete inputs are on where the address is a multiple
of three.
"""
import asyncio
import sys
import types

try:
    import serial_asyncio  # noqa: F401
except ImportError:
    # The server module imports the serial transport, which a TCP server never calls.
    sys.modules["serial_asyncio"] = types.SimpleNamespace(create_serial_connection=None)

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusServerContext, ModbusSlaveContext
from pymodbus.server.async_io import ModbusTcpServer

SIZE = 200


async def main():
    registers = list(range(SIZE))
    bits = [address % 3 == 0 for address in range(SIZE)]
    slave = ModbusSlaveContext(
        hr=ModbusSequentialDataBlock(0, registers[:]),
        ir=ModbusSequentialDataBlock(0, registers[:]),
        co=ModbusSequentialDataBlock(0, bits[:]),
        di=ModbusSequentialDataBlock(0, bits[:]),
        zero_mode=True,
    )
    server = ModbusTcpServer(ModbusServerContext(slaves=slave, single=True), address=("127.0.0.1", 0))
    serving = asyncio.ensure_future(server.serve_forever())
    await server.serving
    print(server.server.sockets[0].getsockname()[1], flush=True)
    await serving


asyncio.run(main())
