"""Handlers by type, and tasks that share channels and recordings: who gets what, and what a cancelled one leaves."""

import asyncio
import copy
import logging
import pickle

import pytest

import ptp_cfg

CLOCK, PORT = ptp_cfg.ptp_clock_cfg_message, ptp_cfg.ptp_port_cfg_message


def clock(domain):
    return CLOCK(ptp_clock={"default_data_set": {"clk_domain": domain}})


def test_each_message_reaches_the_handler_of_its_type(caplog):
    handlers = ptp_cfg.Dispatcher()
    taken = []
    assert handlers.on(CLOCK)(taken.append) == taken.append
    both = ptp_cfg.bundle([clock(1), PORT(), clock(2)])
    with caplog.at_level(logging.WARNING, "ptp_cfg"):
        assert handlers.dispatch(both) == 3
    assert taken == [clock(1), clock(2)] and "no handler takes a ptp_port_cfg_message" in caplog.text
    others = []
    handlers = ptp_cfg.Dispatcher(others.append)
    handlers.on(CLOCK)(lambda message: message.ptp_clock.default_data_set.clk_domain)
    assert handlers(clock(7)) == 7
    handlers(PORT())
    assert others == [PORT()]


def test_what_cannot_be_registered_or_read_is_refused():
    handlers = ptp_cfg.Dispatcher()
    handlers.on(CLOCK)(print)
    with pytest.raises(ValueError, match="ptp_clock_cfg_message has a handler"):
        handlers.on(CLOCK)(repr)
    for wrong in (ptp_cfg.ptp_clock, int, "ptp_clock_cfg_message"):
        with pytest.raises(TypeError, match="a class of messages is wanted"):
            handlers.on(wrong)
    damaged = bytearray(ptp_cfg.bundle([clock(1), PORT()]))
    damaged[20 + 30] ^= 0xFF
    with pytest.raises(ptp_cfg.DecodeError):
        handlers.dispatch(damaged)
    faults, others = [], []
    assert ptp_cfg.Dispatcher(others.append).dispatch(damaged, faults.append) == 1
    assert len(faults) == 1 and others == [PORT()]


def test_a_channel_serves_handlers_and_coroutines(uri):
    async def run():
        handlers = ptp_cfg.Dispatcher()
        server = ptp_cfg.Channel.listen(uri)

        @handlers.on(CLOCK)
        async def configure(message):
            await asyncio.sleep(0)
            server.send(message)

        @handlers.on(PORT)
        def end(message):
            server.finish(5)
            server.close()

        async with ptp_cfg.Channel.connect(uri) as client:
            serving = asyncio.create_task(handlers.serve(server))
            client.send(clock(1), clock(2))
            answers = [await asyncio.wait_for(client.areceive(), 10) for _ in range(2)]
            client.send(PORT())
            client.process()
            await asyncio.wait_for(serving, 10)
        return answers

    assert asyncio.run(run()) == [clock(1), clock(2)]


def test_a_task_that_is_cancelled_takes_nothing_with_it(uri, tmp_path):
    async def run():
        with ptp_cfg.Channel.listen(uri) as server, ptp_cfg.Channel.connect(uri) as client:
            for _ in range(5):
                with pytest.raises(asyncio.TimeoutError):
                    await asyncio.wait_for(server.areceive(), 0.01)
            waiting = asyncio.create_task(server.areceive())
            await asyncio.sleep(0.01)
            with pytest.raises(ptp_cfg.ChannelError, match="another task waits") as raised:
                await server.areceive()
            assert raised.value.name == "EBUSY"
            waiting.cancel()
            client.send(clock(3))
            client.process()
            assert await asyncio.wait_for(server.areceive(), 10) == clock(3)

    asyncio.run(run())

    async def read(recording):
        first = asyncio.create_task(recording.__anext__())
        await asyncio.sleep(0)
        first.cancel()
        return [entry.messages()[0] async for entry in recording]

    with ptp_cfg.Recorder(tmp_path / "a.rec") as recorder:
        for domain in range(3):
            recorder.append(clock(domain))
    assert asyncio.run(read(ptp_cfg.Recording(tmp_path / "a.rec"))) == [clock(0), clock(1), clock(2)]


def test_values_can_be_pickled_and_ends_of_channels_cannot(uri, tmp_path):
    with ptp_cfg.Recorder(tmp_path / "a.rec") as recorder:
        recorder.append(clock(1))
    entry = next(ptp_cfg.Recording(tmp_path / "a.rec"))
    tracked = ptp_cfg.ptp_port.create(tracked=True)
    tracked.port_num = 3
    for again in (pickle.loads(pickle.dumps(tracked)), copy.deepcopy(tracked)):
        assert again.state_flag("port_num") == tracked.state_flag("port_num") and again.to_bytes() == tracked.to_bytes()
    assert pickle.loads(pickle.dumps(entry)).messages() == [clock(1)]
    assert pickle.loads(pickle.dumps(ptp_cfg.explain(entry.data))) == ptp_cfg.explain(entry.data)
    member = ptp_cfg.ptp_clock_mode.VELA_PTP_CLOCK_MODE_BC
    assert pickle.loads(pickle.dumps(member)) is member and copy.deepcopy(member) is member
    with ptp_cfg.Channel.listen(uri) as channel:
        for copying in (copy.copy, copy.deepcopy, pickle.dumps):
            with pytest.raises(TypeError, match="cannot pickle"):
                copying(channel)
