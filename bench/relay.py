"""A TCP relay on loopback that adds a delay to every round trip, half of it each way.

relay.py PORT MILLISECONDS prints its own port and relays until it is killed or its starter ends."""
import asyncio
import contextlib
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../scripts"))
from dav_servers import end_with_parent  # noqa: E402


async def carry(reader, writer, delay):
    loop = asyncio.get_running_loop()
    queue = asyncio.Queue(64)

    async def deliver():
        # A side that hung up is no concern of the relay's: what is still under way to it is dropped.
        with contextlib.suppress(ConnectionError):
            while True:
                due, data = await queue.get()
                await asyncio.sleep(max(0, due - loop.time()))
                if not data:
                    break
                writer.write(data)
                await writer.drain()
            if writer.can_write_eof():
                writer.write_eof()

    delivering = asyncio.create_task(deliver())
    with contextlib.suppress(ConnectionError):
        while not delivering.done() and (data := await reader.read(1 << 18)):
            await queue.put((loop.time() + delay, data))
    if not delivering.done():
        await queue.put((loop.time() + delay, b""))
    await delivering


async def main():
    target, delay = int(sys.argv[1]), float(sys.argv[2]) / 2000

    async def serve(reader, writer):
        there_reader, there_writer = await asyncio.open_connection("127.0.0.1", target)
        await asyncio.gather(carry(reader, there_writer, delay), carry(there_reader, writer, delay))
        writer.close()
        there_writer.close()

    server = await asyncio.start_server(serve, "127.0.0.1", 0, limit=1 << 20)
    print(server.sockets[0].getsockname()[1], flush=True)
    async with server:
        await server.serve_forever()


end_with_parent()
asyncio.run(main())
