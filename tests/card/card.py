"""A PIV card (NIST SP 800-73-4) with one key, 9C, that wants its PIN before each use; as slow as it is told to be. Its reader
is that of vpcd: connecting puts the card in, closing takes it out."""

import hashlib
import socket
import struct
import threading
import time

from cryptography import x509
from cryptography.hazmat.primitives import serialization
from helpers import run

VERIFY, GENERAL_AUTHENTICATE, GET_RESPONSE, SELECT, GET_DATA = 0x20, 0x87, 0xC0, 0xA4, 0xCB
TRIES = 3
OK = b"\x90\x00"
ATR = b"\x3b\x84\x80\x01VORN"
POWER_OFF, POWER_ON, RESET, GIVE_ATR = b"\x00", b"\x01", b"\x02", b"\x04"
READER = ("127.0.0.1", 35963)
APPLICATION = bytes.fromhex("a000000308")


def tlv(tag, *values):
    value = b"".join(values)
    length = len(value)
    size = bytes([length]) if length < 0x80 else b"\x81" + bytes([length]) if length < 0x100 else b"\x82" + struct.pack(">H", length)
    return bytes.fromhex(tag) + size + value


class Card:
    """`delay` and `delay_of_byte` are the seconds that each command takes, `commands`, `pins` and `signatures` what there has
    been of them; `moments` has for an instruction what is done when it comes next."""

    def __init__(self, key, certificate, pin):
        self.numbers = key.private_numbers()
        self.pin = pin.encode().ljust(8, b"\xff")
        self.tries, self.delay, self.delay_of_byte = TRIES, 0, 0
        self.commands = self.pins = self.signatures = 0
        self.moments = {}
        self.connection, self.is_on = None, threading.Event()
        holder = hashlib.sha256(certificate.fingerprint(certificate.signature_hash_algorithm)).digest()
        encoded = certificate.public_bytes(serialization.Encoding.DER)
        self.objects = {
            "7e": tlv("7e", tlv("4f", APPLICATION, bytes.fromhex("000010000100")), tlv("5f2f", b"\x40\x00")),
            "5fc107": tlv("53", tlv("f0", APPLICATION, holder[:16]), tlv("f1", b"\x21"), tlv("f2", b"\x21"), tlv("f5", b"\x10")),
            "5fc102": tlv("53", tlv("30", bytes(25)), tlv("34", holder[:16]), tlv("35", b"20491231"), tlv("3e"), tlv("fe")),
            "5fc10a": tlv("53", tlv("70", encoded), tlv("71", b"\x00"), tlv("fe")),
        }
        self.reset()

    def reset(self):
        self.is_verified, self.rest, self.chained = False, b"", b""

    def insert(self):
        """Returns when the service for readers has seen it."""
        self.is_on.clear()
        self.connection = socket.create_connection(READER)
        threading.Thread(target=self.serve, args=(self.connection,), daemon=True).start()
        if not self.is_on.wait(20):
            raise TimeoutError("the reader gives the card no power")

    def remove(self):
        self.connection.shutdown(socket.SHUT_RDWR)
        self.connection.close()

    def leave_at(self, instruction, after=0):
        """When it is met the next time, or some times later."""
        again = self.remove if after == 0 else lambda: self.leave_at(instruction, after - 1)
        self.moments[instruction] = again

    def serve(self, connection):
        self.reset()
        try:
            while True:
                message = receive(connection)
                if message == POWER_ON:
                    self.is_on.set()
                if message in (POWER_OFF, POWER_ON, RESET):
                    self.reset()
                    continue
                answer = ATR + bytes([exclusive_or(ATR[1:])]) if message == GIVE_ATR else self.answer(message)
                connection.sendall(struct.pack(">H", len(answer)) + answer)
        except OSError:
            pass  # taken out, or the reader has gone

    def answer(self, command):
        instruction = command[1]
        self.commands += 1
        body = command[5:5 + command[4]] if len(command) > 5 else b""
        if body and instruction in self.moments:
            self.moments.pop(instruction)()
        expected = command[-1] if len(command) in (5, 6 + len(body)) else 0
        if command[0] & 0x10:
            self.chained += body
            answer = OK
        else:
            body, self.chained = self.chained + body, b""
            answer = self.obey(instruction, command[2:4], body, expected or 256)
        time.sleep(self.delay + self.delay_of_byte * (len(command) + len(answer)))
        return answer

    def obey(self, instruction, parameters, body, expected):
        if instruction == SELECT:
            found = body.startswith(APPLICATION)
            template = tlv("61", tlv("4f", bytes.fromhex("000010000100")), tlv("79", tlv("4f", APPLICATION)))
            return self.part(template, expected) if found else b"\x6a\x82"
        if instruction == GET_DATA:
            found = self.objects.get(body[2:].hex())
            return self.part(found, expected) if found else b"\x6a\x82"
        if instruction == GET_RESPONSE:
            return self.part(self.rest, expected)
        if instruction == VERIFY and parameters == b"\x00\x80":
            return self.verify(body)
        if instruction == GENERAL_AUTHENTICATE and parameters == b"\x07\x9c":
            return self.part(self.sign(body), expected) if self.is_verified else b"\x69\x82"
        return b"\x6d\x00"

    def part(self, data, expected):
        """As much of it as is asked for; GET RESPONSE brings the rest."""
        self.rest = data[expected:]
        return data[:expected] + (b"\x61" + bytes([min(len(self.rest), 256) & 0xFF]) if self.rest else OK)

    def verify(self, pin):
        if pin and self.tries > 0:
            self.pins += 1
            self.is_verified = pin == self.pin
            self.tries = TRIES if self.is_verified else self.tries - 1
        if self.is_verified:
            return OK
        return bytes([0x63, 0xC0 + self.tries]) if self.tries > 0 else b"\x69\x83"

    def sign(self, template):
        self.is_verified = False
        self.signatures += 1
        public = self.numbers.public_numbers
        size = (public.n.bit_length() + 7) // 8
        block = int.from_bytes(template[-size:], "big")
        return tlv("7c", tlv("82", pow(block, self.numbers.d, public.n).to_bytes(size, "big")))


def card_of(identity, home, pin):
    """One with key and certificate of Jane Citizen, from the key store of the folder `identity`."""
    file = home / "jane.p12"
    run("pk12util", "-d", f"sql:{identity}/.pki/nssdb", "-K", "", "-W", "x", "-n", "Jane Citizen", "-o", file)
    # Of that form other software can read less.
    run("openssl", "pkcs12", "-in", file, "-passin", "pass:x", "-noenc", "-out", home / "jane.pem")
    text = (home / "jane.pem").read_bytes()
    return Card(serialization.load_pem_private_key(text[text.index(b"-----BEGIN PRIV"):], None), x509.load_pem_x509_certificate(text), pin)


def exclusive_or(data):
    result = 0
    for byte in data:
        result ^= byte
    return result


def receive(connection):
    return exactly(connection, struct.unpack(">H", exactly(connection, 2))[0])


def exactly(connection, count):
    data = b""
    while len(data) < count:
        more = connection.recv(count - len(data))
        if not more:
            raise ConnectionResetError
        data += more
    return data
