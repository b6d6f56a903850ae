"""Captures for tshark: files of packets, TCP streams in them, and what really passes between two programs."""

import selectors
import socket
import struct
import threading
import time

USER0, RAW_IP = 147, 101


def write(path, packets, link=USER0):
    """A capture of one packet for each of `packets`."""
    with open(path, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 26, link))
        for number, packet in enumerate(packets):
            out.write(struct.pack("<IIII", number, 0, len(packet), len(packet)) + packet)


class Stream:
    """The packets of one TCP connection between two ports of this host."""

    def __init__(self, client_port=40000, server_port=5555):
        self.ports = client_port, server_port
        self.sent = [1, 1]
        self.packets = []
        self.lock = threading.Lock()

    def add(self, data, from_server=False):
        """Data in segments of at most 60000 bytes."""
        with self.lock:
            for start in range(0, len(data), 60000):
                self._segment(data[start:start + 60000], int(from_server))

    def _segment(self, data, side):
        ports = (self.ports[side], self.ports[1 - side])
        tcp = struct.pack(">HHIIBBHHH", *ports, self.sent[side], self.sent[1 - side], 5 << 4, 0x18, 65535, 0, 0)
        head = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 40 + len(data), 0, 0, 64, 6, 0, b"\x7f\0\0\1", b"\x7f\0\0\1")
        self.packets.append(head + tcp + data)
        self.sent[side] += len(data)


class Relay:
    """Stands between a listening program and one that connects, and keeps what passes as a TCP stream."""

    def __init__(self, family, kind, listen_at, forward_to):
        self.stream = Stream()
        self.ready = threading.Event()
        self.door = socket.socket(family, kind)
        self.door.bind(listen_at)
        self.door.listen(1)
        self.thread = threading.Thread(target=self._run, args=(family, kind, forward_to), daemon=True)
        self.thread.start()

    def _connected(self, family, kind, forward_to):
        """Waits for the listening program, which may only just have been started."""
        while True:
            server = socket.socket(family, kind)
            try:
                server.connect(forward_to)
                return server
            except (ConnectionRefusedError, FileNotFoundError):
                server.close()
                time.sleep(0.05)

    def _run(self, family, kind, forward_to):
        server = self._connected(family, kind, forward_to)
        self.ready.set()
        client, _ = self.door.accept()
        waiting = selectors.DefaultSelector()
        waiting.register(client, selectors.EVENT_READ, (server, False))
        waiting.register(server, selectors.EVENT_READ, (client, True))
        while waiting.get_map():
            for key, _ in waiting.select():
                to, from_server = key.data
                data = key.fileobj.recv(1 << 20)
                if data:
                    self.stream.add(data, from_server)
                    to.sendall(data)
                else:
                    waiting.unregister(key.fileobj)
                    to.shutdown(socket.SHUT_WR)

    def finish(self):
        self.thread.join(20)
        return self.stream.packets


def bundle(messages):
    """Messages as one bundle."""
    body = b"".join(struct.pack(">I", len(message)) + message for message in messages)
    return struct.pack(">4sB3xII", b"VBND", 1, len(messages), 16 + len(body)) + body
