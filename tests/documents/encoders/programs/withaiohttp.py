import asyncio
import sys

import aiohttp


async def upload(url, description, name):
    form = aiohttp.FormData()
    form.add_field("metadata", description)
    with open(name, "rb") as file:
        form.add_field("file", file)
        async with aiohttp.ClientSession() as session, session.post(url, data=form) as answer:
            await answer.read()


asyncio.run(upload(*sys.argv[1:]))
print(aiohttp.__version__)
