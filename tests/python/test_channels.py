"""Channels and recordings: real sockets, threads, event loops and files."""

import asyncio
import logging
import signal
import subprocess
import sys
import threading
import time

import pytest
from conftest import vector

import ptp_cfg


def message(domain=24):
    return ptp_cfg.ptp_clock_cfg_message(ptp_clock={"default_data_set": {"clk_domain": domain}})


def domain_of(received):
    return received.ptp_clock.default_data_set.clk_domain


@pytest.fixture(params=["unix", "tcp", "inproc"])
def ends(request, tmp_path):
    places = {"unix": f"unix:{tmp_path}/socket", "tcp": "tcp:127.0.0.1:0", "inproc": "inproc:python"}
    with ptp_cfg.Channel.listen(places[request.param]) as server:
        with ptp_cfg.Channel.connect(server.uri) as client:
            yield server, client


def test_messages_and_bundles_arrive_in_order_both_ways(ends):
    server, client = ends
    client.send(message(1))
    client.send(message(2), message(3))
    client.send(message(4).to_bytes())
    client.process()
    assert [domain_of(server.receive(5)) for _ in range(4)] == [1, 2, 3, 4]
    server.send(message(5))
    while not server.statistics["sent"]:
        server.process()
    assert domain_of(client.receive(5)) == 5
    assert server.statistics["received"] == 3 and client.statistics["peers"] == 1


def test_a_handler_replies_to_the_peer_whose_message_it_has(ends):
    server, client = ends
    client.send(message(7))
    client.process()
    end = time.monotonic() + 5
    while not server.process(lambda received: server.reply(message(domain_of(received) + 1))):
        assert time.monotonic() < end
    assert domain_of(client.receive(5)) == 8
    with pytest.raises(ptp_cfg.ChannelError) as raised:
        server.reply(message())
    assert raised.value.code == 107


def test_what_a_handler_raises_reaches_the_caller_and_the_channel_lives_on(ends):
    server, client = ends
    client.send(message(1))
    client.process()

    def refuse(received):
        with pytest.raises(ptp_cfg.ChannelError):
            server.close()
        with pytest.raises(ptp_cfg.ChannelError):
            server.process()
        raise KeyError(domain_of(received))

    with pytest.raises(KeyError):
        while True:
            server.process(refuse)
    client.send(message(2))
    client.process()
    assert domain_of(server.receive(5)) == 2


def test_waiting_ends_in_time_and_lets_others_run(uri):
    with ptp_cfg.Channel.listen(uri) as server, ptp_cfg.Channel.connect(uri) as client:
        began = time.monotonic()
        with pytest.raises(TimeoutError):
            server.receive(0.05)
        assert 0.04 < time.monotonic() - began < 5
        counted = []
        counter = threading.Thread(target=lambda: [counted.append(None) or time.sleep(0.001) for _ in range(50)])
        sender = threading.Timer(0.3, lambda: (client.send(message(9)), client.process()))
        counter.start(), sender.start()
        assert domain_of(server.receive(10)) == 9
        counter.join(), sender.join()
        assert len(counted) == 50


def test_a_loop_ends_when_another_thread_closes_the_channel(uri):
    server = ptp_cfg.Channel.listen(uri)
    received = []
    reader = threading.Thread(target=lambda: received.extend(map(domain_of, server)))
    reader.start()
    with ptp_cfg.Channel.connect(uri) as client:
        for domain in range(100):
            client.send(message(domain))
        assert client.finish(10)
    while len(received) < 100:
        time.sleep(0.01)
    server.close()
    reader.join(10)
    assert not reader.is_alive() and received == list(range(100))
    with pytest.raises(ptp_cfg.ChannelError, match="closed"):
        server.send(message())


def test_two_threads_share_what_arrives(uri):
    server = ptp_cfg.Channel.listen(uri)
    received, failures = [], []

    def read():
        try:
            received.extend(map(domain_of, server))
        except BaseException as error:
            failures.append(error)

    readers = [threading.Thread(target=read) for _ in range(2)]
    for reader in readers:
        reader.start()
    with ptp_cfg.Channel.connect(uri) as client:
        for domain in range(200):
            client.send(message(domain))
        assert client.finish(20)
    while server.statistics["received"] < 200:
        time.sleep(0.01)
    server.close()
    for reader in readers:
        reader.join(10)
    assert not failures and sorted(received) == list(range(200))


def test_a_signal_interrupts_who_waits(uri):
    code = f"import ptp_cfg; channel = ptp_cfg.Channel.listen({uri!r}); print('ready', flush=True); channel.receive()"
    process = subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert process.stdout.readline() == "ready\n"
    process.send_signal(signal.SIGINT)
    assert "KeyboardInterrupt" in process.communicate(timeout=20)[1]


def test_messages_come_to_an_event_loop(uri):
    async def serve(server):
        received = []
        async for each in server:
            received.append(domain_of(each))
            server.send(each)
            if len(received) == 20:
                return received

    async def ask(client):
        for domain in range(20):
            client.send(message(domain))
        return [domain_of(await asyncio.wait_for(client.areceive(), 10)) for _ in range(20)]

    async def both():
        with ptp_cfg.Channel.listen(uri) as server, ptp_cfg.Channel.connect(uri) as client:
            return await asyncio.gather(serve(server), ask(client))

    assert asyncio.run(both()) == [list(range(20))] * 2


def test_closing_ends_an_asynchronous_loop(uri):
    async def run():
        server = ptp_cfg.Channel.listen(uri)
        task = asyncio.create_task(collect(server))
        await asyncio.sleep(0.05)
        server.close()
        return await asyncio.wait_for(task, 10)

    async def collect(server):
        return [each async for each in server]

    assert asyncio.run(run()) == []


def test_what_is_no_message_is_told_and_passed(uri, caplog):
    events, faults = [], []
    unknown = bytearray(message().to_bytes())
    unknown[30] ^= 0xFF  # an identity that nobody has
    with ptp_cfg.Channel.listen(uri, on_event=events.append, on_fault=faults.append) as server:
        with ptp_cfg.Channel.connect(uri) as client:
            client.send(bytes(unknown))
            client.send(message(3))
            assert domain_of(server.receive(5)) == 3
    assert len(faults) == 1 and isinstance(faults[0], ptp_cfg.DecodeError)
    assert events[0].kind == "connected" and "connected" in events[0].text
    with caplog.at_level(logging.WARNING, "ptp_cfg"), ptp_cfg.Channel.listen(uri) as server:
        with ptp_cfg.Channel.connect(uri) as client:
            client.send(bytes(unknown))
            client.send(message(3))
            server.receive(5)
    assert "not understood" in caplog.text


def test_a_channel_that_cannot_be_opened_says_why(tmp_path):
    for uri in ("nonsense", "tcp:127.0.0.1:99999", f"unix:{tmp_path}/no/such"):
        with pytest.raises(ptp_cfg.ChannelError) as raised:
            ptp_cfg.Channel.listen(uri)
        assert raised.value.code and raised.value.reason
    for arguments in ({"domain": "none"}, {"max_message": -1}, {"no_option": 1}, {"max_message": 2**33}):
        with pytest.raises((ptp_cfg.ChannelError, TypeError, ValueError)):
            ptp_cfg.Channel.listen("inproc:x", **arguments)
    with pytest.raises(TypeError):
        ptp_cfg.Channel()
    with ptp_cfg.Channel.listen(f"unix:{tmp_path}/socket"):
        with pytest.raises(ptp_cfg.ChannelError):
            ptp_cfg.Channel.listen(f"unix:{tmp_path}/socket")


def test_a_full_queue_refuses_and_nothing_is_lost_before(uri):
    with ptp_cfg.Channel.listen(uri, queue_messages=2) as server:
        server.send(message(1)), server.send(message(2))
        with pytest.raises(ptp_cfg.ChannelError, match="queue is full"):
            server.send(message(3))
        with ptp_cfg.Channel.connect(uri) as client:
            reader = threading.Thread(target=lambda: server.finish(5))
            reader.start()
            assert [domain_of(client.receive(5)) for _ in range(2)] == [1, 2]
            reader.join()


# ---- recordings -----------------------------------------------------------------------------------------------------


def test_a_recording_gives_back_what_was_recorded(tmp_path):
    names = list(ptp_cfg.messages)
    with ptp_cfg.Recorder(tmp_path / "a.rec", max_file_bytes=16000, files=100) as recorder:
        for index, name in enumerate(names):
            recorder.append(ptp_cfg.decode(vector(name)[1]), time_ns=1_700_000_000_123_456_789 + index, source=index % 4)
        recorder.append(b"no message", source=0x80000001)
        assert recorder.statistics["records"] == len(names) + 1 and recorder.repaired == ""
        assert recorder.statistics["rotations"] > 0
    with ptp_cfg.Recording(tmp_path / "a.rec") as recording:
        entries = list(recording)
        assert recording.progress[0] == recording.progress[1]
    assert [type(entry.messages()[0]).__name__ for entry in entries[:-1]] == names
    assert [entry.time_ns - entries[0].time_ns for entry in entries[:3]] == [0, 1, 2]
    assert entries[0].time.isoformat() == "2023-11-14T22:13:20.123456+00:00"
    assert [entry.domain for entry in entries[:4]] == ["gable", "wicket", "skein", "osprey"]
    assert entries[-1].damaged and entries[-1].domain == "wicket" and not entries[0].damaged
    with pytest.raises(ptp_cfg.DecodeError):
        entries[-1].messages()
    asked = []

    async def read():
        async for entry in ptp_cfg.Recording(tmp_path / "a.rec"):
            asked.append(entry.data)

    asyncio.run(read())
    assert asked == [entry.data for entry in entries]


def test_damage_in_a_recording_is_told_and_passed(tmp_path, caplog):
    file = tmp_path / "a.rec"
    with ptp_cfg.Recorder(file) as recorder:
        for domain in range(5):
            recorder.append(message(domain))
    content = bytearray(file.read_bytes())
    content[8 + (len(content) - 8) // 5 * 2 + 40] ^= 1  # in the third record
    file.write_bytes(content[:-3])
    faults = []
    entries = list(ptp_cfg.Recording(file, faults.append))
    assert [domain_of(entry.messages()[0]) for entry in entries] == [0, 1, 3]
    assert [fault.path.split(", ")[-1] for fault in faults] == ["damaged", "torn"] and faults[0].offset
    with caplog.at_level(logging.WARNING, "ptp_cfg"):
        assert len(list(ptp_cfg.Recording(file))) == 3
    assert "torn" in caplog.text


def test_files_that_are_not_there_or_in_use_say_so(tmp_path):
    with pytest.raises(ptp_cfg.RecordingError):
        ptp_cfg.Recording(tmp_path / "none")
    with ptp_cfg.Recorder(tmp_path / "a.rec") as recorder:
        with pytest.raises(ptp_cfg.RecordingError):
            ptp_cfg.Recorder(tmp_path / "a.rec")
    with pytest.raises(ptp_cfg.RecordingError, match="closed"):
        recorder.append(b"")
    (tmp_path / "text").write_text("not a recording, but long enough to look at")
    with pytest.raises(ptp_cfg.RecordingError):
        ptp_cfg.Recorder(tmp_path / "text")


def test_one_recording_is_read_by_many_tasks_one_at_a_time(tmp_path):
    with ptp_cfg.Recorder(tmp_path / "a.rec") as recorder:
        for _ in range(200):
            recorder.append(message())
    recording = ptp_cfg.Recording(tmp_path / "a.rec")
    counts, refused = [], []

    def read():
        while True:
            try:
                if next(recording, None) is None:
                    return
                counts.append(None)
            except ptp_cfg.RecordingError as error:
                refused.append(error.reason)

    threads = [threading.Thread(target=read) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(counts) == 200 and set(refused) <= {"another thread uses the recording"}
