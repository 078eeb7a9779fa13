"""Starts other programs, which end with this one."""

import asyncio
import os
import signal


async def call(arguments, cwd=None, env=None):
    """Exit code and output. A cancelled call ends the program, and what that has started."""
    starting = asyncio.ensure_future(asyncio.create_subprocess_exec(
        *map(str, arguments), cwd=cwd, env=env, stdin=asyncio.subprocess.DEVNULL, stdout=asyncio.subprocess.PIPE,
        stderr=asyncio.subprocess.STDOUT, start_new_session=True))
    try:
        process = await asyncio.shield(starting)
        output, _ = await process.communicate()
    except asyncio.CancelledError:
        process = await starting
        if process.returncode is None:
            os.killpg(process.pid, signal.SIGTERM)
        await process.communicate()
        raise
    return process.returncode, output
