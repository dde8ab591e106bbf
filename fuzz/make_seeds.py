#!/usr/bin/env python3
"""Writes the fuzz seed corpus: small hand-built descriptions of every source type, keyword
texts and driver-entry argument blobs, into fuzz/corpus/<target>/. Run it after changing it;
the files it writes are kept in the repository."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))


def fixed_text(text, size):
    data = text.encode("ascii")[: size - 1]
    return data + b"\0" * (size - len(data))


def counted_text(text):
    data = text.encode("ascii")
    return struct.pack("<I", len(data)) + data


# Morvane current form: 32-byte header, 56-byte channel records.
def morvane_form1(channels, first_channel=0):
    out = struct.pack("<iiIIiiif", 5040, len(channels), 1000, 10, 0, 0, first_channel, 1000.0)
    for ctype, gain, polarity, label in channels:
        out += struct.pack("<fiiiffii", gain, 0, ctype, 0, 1.0, 0.0, polarity, 0)
        out += fixed_text(label, 12) + fixed_text("V", 12)
    return out


# Forms 2 and 3: 40-byte channel records with 16-bit fields and 9-byte texts.
def morvane_old_record(ctype, label):
    return struct.pack("<fhhhffh", 1.0, 0, ctype, 0, 1.0, 0.0, 1) + fixed_text(label, 9) + fixed_text("V", 9) + struct.pack("<h", 0)


def morvane_form2():
    out = struct.pack("<hhIIhhhf", 5040, 2, 500, 0, 0, 0, 0, 200.0)
    return out + morvane_old_record(0, "A") + morvane_old_record(9, "B")


def morvane_form3():
    out = struct.pack("<hIhhhf", 1, 300, 0, 0, 0, 50.0)
    return out + morvane_old_record(0, "Old")


# Tarquil: 26-byte header, 38-byte records, 4 unread bytes at the end.
def tarquil(packed, records):
    out = struct.pack("<HIIffiI", len(records), 100, 0, 0.0, 1000.0, 0, packed)
    for range_word, flags, label in records:
        out += struct.pack("<iffIf", range_word, 1.0, 0.0, flags, 0.0) + fixed_text(label, 9) + fixed_text("V", 9)
    return out + b"\0" * 4


# Brenlow family: 56-byte header, 112-byte records (type 6 is the time-stamp record).
def brenlow(rate, records):
    out = struct.pack("<ddiii", 1.5, rate, len(records), 0, 100) + b"\0" * 28
    for label, rtype, lower, upper in records:
        rec = bytearray(112)
        rec[4:20] = fixed_text(label, 16)
        rec[20:40] = fixed_text("V", 20)
        rec[40:44] = struct.pack("<i", rtype)
        rec[72:88] = struct.pack("<dd", lower, upper)
        out += bytes(rec)
    return out


# Quillon: counted texts and fixed fields front to back.
def quillon(channels):
    out = counted_text("Quillon") + struct.pack("<III", 2, 1, 0) + counted_text("DSC File")
    out += struct.pack("<hIiIdd", len(channels), 100, 5, 0, 100.0, 45000.5)
    for ctype, upper, lower, label in channels:
        out += struct.pack("<If", ctype, upper) + counted_text(label) + struct.pack("<fIIII", lower, 0, 0, 0, 0)
        out += counted_text("V") + struct.pack("<II", 0, 0) + counted_text("")
    return out


def keyword(lines, end="\n"):
    return (end.join(lines) + end).encode("ascii")


CELDRIN_PLAIN = [
    "*TYPE", "Chart", "*FORMAT", "BINARY", "*FREQUENCY", "100,200",
    "*PRETRIG_COUNT", "10", "*POST_STOP_COUNT", "5", "*CHANNELS",
    "0,3276.8,Volts,VOLT,1,0,0,0,0,V",
    "1,1,Temp,Deg F,1,0,0,0,0,F",
]
CELDRIN_STAMPED = [
    "*TYPE", "Chart", "*VERSION", "2", "*FORMAT", "binary ", "*FREQUENCY", "50;50", "*CHANNELS",
    "5;1;Dig;DIGITAL;1;0;0;0;0;cnt",
    "6;10;Volts;VOLT;2;0.5;0;0;0;V",
    "*END",
]

SEEDS = {
    "source_desc": {
        "morvane_form1": morvane_form1([(0, 1.0, 1, "Sine"), (2, 1.0, 0, "RTD"), (9, 1.0, 0, "Count")], 3),
        "morvane_temps": morvane_form1([(3, 1.0, 1, "CJC"), (1, 100.0, 2, "TC-K"), (13, 100.0, 1, "TC-J")]),
        "morvane_form2": morvane_form2(),
        "morvane_form3": morvane_form3(),
        "tarquil": tarquil(0, [(1, 0x1, "Bip"), (2, 0x8, "Uns"), (0, 0x26, "Recip")]),
        "tarquil_packed": tarquil(1, [(1, 0x1, "A"), (1, 0x0, "B"), (1, 0x4, "D")]),
        "brenlow_stamps": brenlow(0.0, [("A", 0, -10.0, 10.0), ("B", 4, 0.0, 1.0), ("Time", 6, 0.0, 0.0)]),
        "brenlow_rate": brenlow(10.0, [("A", 7, -1.0, 1.0), ("Time", 6, 0.0, 0.0)]),
        "quillon": quillon([(5, 10.0, -10.0, "Q1"), (1, -1.0, 1.0, "Q2")]),
        "celdrin": keyword(CELDRIN_PLAIN),
        "celdrin_stamped": keyword(CELDRIN_STAMPED, "\r\n"),
    },
    "keyword_desc": {
        "plain": keyword(CELDRIN_PLAIN),
        "stamped_crlf": keyword(CELDRIN_STAMPED, "\r\n"),
        "lower_case_cr": keyword([line.lower() for line in CELDRIN_PLAIN] + ["*end"], "\r"),
    },
    # Selector byte (0 unpack, 1 thermocouple, 2 RTD), then the entry's arguments.
    "qulix": {
        "unpack": bytes([0, 3, 3 * 8]) + bytes(range(1, 25)),
        "thermocouple_pair": bytes([1]) + struct.pack("<iiBHH", 100, 2, 2, 40760, 36000),
        "thermocouple_single": bytes([1]) + struct.pack("<iiBH", 100, 1, 1, 34000),
        "rtd": bytes([2]) + struct.pack("<iHHHH", 1, 12000, 1000, 41000, 1000),
    },
}


def main():
    for target, seeds in SEEDS.items():
        folder = os.path.join(HERE, "corpus", target)
        os.makedirs(folder, exist_ok=True)
        for name, data in seeds.items():
            with open(os.path.join(folder, name), "wb") as f:
                f.write(data)


if __name__ == "__main__":
    main()
