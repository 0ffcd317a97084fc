#!/usr/bin/env python3
"""Exports the sample runs with the command line, and compares what other readers find in the files with what the sample
files must hold.

    check_export.py TROX TEST_DATA legacy|2010|2024 npz|h5|ndjson|csv|wide|png
"""
import csv
import hashlib
import json
import math
import os
import struct
import subprocess
import sys
import tempfile
import zlib
from datetime import datetime, timezone

import numpy as np

EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
MISSING, RECORDED, CARRIED = 0, 1, 2
NO_TIME = -(2**63)


class Failure(Exception):
    pass


def require(condition, *what):
    if not condition:
        raise Failure(": ".join(str(word) for word in what))


def microseconds(pair):
    return pair[0] * 1_000_000 + pair[1]


def microseconds_of_text(text):
    require(text.endswith("Z"), "no UTC", text)
    head, _, fraction = text[:-1].partition(".")
    moment = datetime.strptime(head, "%Y-%m-%dT%H:%M:%S").replace(tzinfo=timezone.utc)
    return int((moment - EPOCH).total_seconds()) * 1_000_000 + int((fraction + "000000")[:6])


class Expected:
    """The events of a run, from the files that the independent writer left."""

    def __init__(self, data, generation):
        with open(f"{data}/expected/{generation}_evid_all.json") as file:
            run = json.load(file)
        self.files = [f"{data}/data_{generation}/{name}" for name in run["files"]]
        dumps = []
        for name in run["files"]:
            with open(f"{data}/expected/{name[:-4]}.dump.json") as file:
                dumps.append({channel["name"]: channel["records"] for channel in json.load(file)["channels"]})
        self.channels = [channel["name"] for channel in run["channels"]]
        self.events = []
        for number, seconds, micro, entries in run["events"]:
            records = {}
            for channel, record, updated in entries:
                file, index = run["channels"][channel]["records"][record][:2]
                name = self.channels[channel]
                records[name] = (dumps[file][name][index], RECORDED if updated else CARRIED)
            self.events.append((number, microseconds([seconds, micro]), records))


# --- files, as other readers see them: value(channel, column, event) --------------------------------------------------


class Npz:
    def __init__(self, path):
        self.arrays = np.load(path)
        self.numbers = self.arrays["event_number"]
        self.times = self.arrays["event_time"].astype("int64")
        require(self.arrays["event_time"].dtype == "datetime64[us]", "type of times")
        self.cache = {}

    def array(self, channel, column):
        key = f"{channel}/{column}"
        if key not in self.cache:
            self.cache[key] = self.arrays[key] if key in self.arrays else None
        return self.cache[key]

    def value(self, channel, column, event):
        array = self.array(channel, column)
        require(array is not None, channel, column, "no array")
        require(len(array) == len(self.numbers), channel, column, "rows")
        value = array[event]
        if array.dtype.kind == "M":
            return value.astype("int64")
        if array.dtype.kind == "S":
            return [text.decode() for text in value] if array.ndim > 1 else value.decode()
        return value

    def has_column(self, channel, column):
        return self.array(channel, column) is not None


class Hdf5(Npz):
    def __init__(self, path):
        import h5py

        self.file = h5py.File(path, "r")
        require(self.file.attrs["format_version"] == 1, "format version")
        self.numbers = self.file["event_number"][:]
        self.times = self.file["event_time"][:]
        self.cache = {}

    def array(self, channel, column):
        key = f"{channel}/{column}"
        if key not in self.cache:
            self.cache[key] = self.load(key) if key in self.file else None
        return self.cache[key]

    def load(self, key):
        dataset = self.file[key]
        require(dataset.chunks is not None and dataset.compression == "gzip" and dataset.shuffle, key, "not compressed")
        array = dataset[()]
        if array.dtype.kind == "O":
            return np.vectorize(lambda text: text or b"", otypes=["S200"])(array)
        return array

    def attributes(self, channel):
        return dict(self.file[channel].attrs)


class Ndjson:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.lines = [json.loads(line) for line in file]
        self.numbers = [line["event"] for line in self.lines]
        self.times = [microseconds_of_text(line["time"]) for line in self.lines]

    def value(self, channel, column, event):
        values = self.lines[event]["channels"][channel]
        if values is None:
            require(column == "present", channel, "is missing")
            return MISSING
        value = values[column]
        if column.endswith("_time"):
            return microseconds_of_text(value)
        if column in ("name", "comment", "text"):
            return value
        if column in ("image",):
            return np.array(value)
        if column == "axis":
            return np.array(value, dtype="float64")
        kind = "int64" if isinstance(value, int) or (isinstance(value, list) and column in INTEGERS) else "float64"
        array = np.array(value, dtype=kind)
        return array.astype("float32") if kind == "float64" else array

    def has_column(self, channel, column):
        return any(line["channels"][channel] and column in line["channels"][channel] for line in self.lines)


INTEGERS = {"integers", "region", "shape", "origin", "payload"}


# --- comparing --------------------------------------------------------------------------------------------------------


def same_floats(found, expected, *where):
    """A list of the expectations against an array: in full, or its ends and sum."""
    found = np.asarray(found, dtype="<f4").ravel()
    if isinstance(expected, list):
        require(found.tobytes() == np.array(expected, dtype="<f4").tobytes(), *where, "values")
        return
    require(len(found) == expected["n"], *where, "number of values")
    require(hashlib.sha256(found.tobytes()).hexdigest().startswith(expected["sha"]), *where, "sum")
    require(found[:3].tobytes() == np.array(expected["first"], dtype="<f4").tobytes(), *where, "first values")
    require(found[-1] == np.float32(expected["last"]), *where, "last value")


def trimmed(file, channel, column, event, count):
    """A row without what fills it up, which must be fill."""
    row = np.asarray(file.value(channel, column, event))
    rest = row[count:]
    if row.dtype.kind == "f":
        require(np.all(np.isnan(rest)), channel, column, event, "fill")
    return row[:count]


def compare_trace(file, channel, values, members, event):
    total = values["nsamp"] * max(values["groups"], 1)
    require(file.value(channel, "length", event) == total, channel, event, "length")
    axis = np.asarray(file.value(channel, "axis", event))
    expected = [np.float32(values["start"]), np.float32(values["inc"]), np.float32(values["ginc"]), max(values["groups"], 1)]
    require(list(axis) == [float(x) for x in expected], channel, event, "axis", axis)
    for name, member in zip(members, values["memb"]):
        same_floats(trimmed(file, channel, name, event, total), member, channel, name, event)
    for name, (mask, statistics) in zip(members, values.get("stat", [])):
        row = np.asarray(file.value(channel, name + ".statistics", event))
        for i, value in enumerate(row):
            if mask >> i & 1:
                require(value == np.float32(statistics[i] if i < len(statistics) else 0), channel, name, i, "statistics")
            else:
                require(math.isnan(value), channel, name, i, "statistics that are not there")
    if "roi" in values:
        require(list(file.value(channel, "region", event)) == values["roi"], channel, event, "region")


def image_facts(values):
    if values["k"] == "img":
        # Half of them have offsets in the upper bits.
        return (values["h"] & 0xFFFF, values["w"] & 0xFFFF, values["bpp"] & 15, values["frame"],
                [values["w"] >> 16, values["h"] >> 16])
    fields = values["fields"]
    return (fields["aoi_height"], fields["aoi_width"], fields["bpp"], fields["frame"],
            [fields["x_start"], fields["y_start"]])


def compare_image(file, channel, values, event):
    height, width, depth, frame, origin = image_facts(values)
    require(list(file.value(channel, "shape", event)) == [height, width], channel, event, "shape")
    pixels = np.asarray(file.value(channel, "image", event))
    require(pixels.shape == (height, width), channel, event, "shape of pixels", pixels.shape)
    data = pixels.astype(">u2" if depth == 2 else "u1").tobytes()
    require(hashlib.sha256(data).hexdigest() == values["pixels_sha256"], channel, event, "pixels")
    require(file.value(channel, "frame", event) == frame, channel, event, "frame")
    require(list(file.value(channel, "origin", event)) == origin, channel, event, "origin")


def compare_list(file, channel, values, event):
    count = len(values["items"])
    require(file.value(channel, "length", event) == count, channel, event, "length")
    names = file.value(channel, "name", event)
    require(list(names[:count]) == [name for name, _ in values["items"]], channel, event, "names")
    require(all(name == "" for name in names[count:]), channel, event, "fill of names")
    same_floats(trimmed(file, channel, "value", event, count), [value for _, value in values["items"]], channel, event)
    require(file.value(channel, "id", event) == values["id"], channel, event, "id")
    require(file.value(channel, "comment", event) == values["comment"], channel, event, "comment")


FLOAT, FLOATS = 2, 20


def compare_control(file, channel, values, event):
    require(file.value(channel, "type", event) == values["type"], channel, event, "type")
    require(file.value(channel, "status", event) == values["status"], channel, event, "status")
    require(file.value(channel, "set_time", event) == microseconds(values["time"]), channel, event, "time")
    value = values["value"]
    if isinstance(value, dict):
        require(file.value(channel, "text", event) == value["text"], channel, event, "text")
        return
    count = len(value)
    require(file.value(channel, "length", event) == count, channel, event, "length")
    names = [name for name in ("floats", "integers") if file.has_column(channel, name)]
    rows = []
    for name in names:
        try:
            rows.append((name, trimmed(file, channel, name, event, count)))
        except KeyError:
            pass
    is_equal = [name for name, row in rows if list(row) == [np.float32(x) if name == "floats" else x for x in value]]
    require(is_equal, channel, event, "values", value, rows)


def compare_record(file, channel, record, event):
    values = record["v"]
    require(file.value(channel, "record_time", event) == microseconds(record["t"]), channel, event, "time of the record")
    require(file.value(channel, "errors", event) == record["out"]["error"] & 0xFFFFFFFF, channel, event, "errors")
    kind = values["k"]
    if kind == "spect":
        compare_trace(file, channel, values, members_of(channel, values), event)
    elif kind in ("img", "imgx"):
        compare_image(file, channel, values, event)
    elif kind == "nv":
        compare_list(file, channel, values, event)
    elif kind == "eq":
        compare_control(file, channel, values, event)
    else:
        require(kind in ("upd", "env"), "unknown kind", kind)
        require(np.float32(file.value(channel, "value", event)) == np.float32(values["value"]), channel, event, "value")
        require(file.value(channel, "status", event) == values["status"], channel, event, "status")
        require(file.value(channel, "set_time", event) == microseconds(values["time"]), channel, event, "time set")


def members_of(channel, values):
    """By the tables of block types: the names of a channel's members."""
    if channel.endswith("/XY"):
        return ["X", "Y", "SUM", "QUALITY"] if values.get("old") else ["CH0", "CH1", "CH2", "CH3"]
    if channel.endswith("/SIGNAL"):
        return ["POSITION", "SIGNAL"]
    if channel.endswith(("/PROBE", "/GEN")):
        return [f"CH{i}" for i in range(values["nmemb"])]
    return ["VALUE"]


def compare_all(file, expected):
    require(list(file.numbers) == [event[0] for event in expected.events], "event numbers")
    require(list(file.times) == [event[1] for event in expected.events], "event times")
    compared = 0
    for index, (_, _, records) in enumerate(expected.events):
        for channel in expected.channels:
            record, presence = records.get(channel, (None, MISSING))
            require(file.value(channel, "present", index) == presence, channel, index, "presence")
            if record:
                if record["dtype"] & 0xFFFF == 6:
                    record["v"]["old"] = True
                compare_record(file, channel, record, index)
                compared += 1
    require(compared > 500, "hardly anything was compared", compared)


def compare_attributes(file, expected):
    kinds = {"spect": ("trace", "region of interest"), "img": ("image",), "imgx": ("image",), "nv": ("name/value",),
             "eq": ("control value",), "upd": ("slow",), "env": ("slow",)}
    seen = set()
    for _, _, records in expected.events:
        for channel, (record, _) in records.items():
            if channel in seen:
                continue
            seen.add(channel)
            attributes = file.attributes(channel)
            require(attributes["name"] == channel, channel, "name")
            require(attributes["kind"] in kinds[record["v"]["k"]], channel, "kind", attributes["kind"])
            if record["v"]["k"] == "spect":
                require(attributes["axis_start"] == np.float32(record["v"]["start"]), channel, "axis_start")
                require(attributes["axis_increment"] == np.float32(record["v"]["inc"]), channel, "axis_increment")
    descriptions = {}
    for path in expected.files:
        stem = os.path.basename(path)[:-4]
        with open(f"{os.path.dirname(os.path.dirname(path))}/expected/{stem}.dump.json") as dump:
            for entry in json.load(dump)["descriptions"]:
                descriptions.setdefault(entry["daq_name"], entry)
    require(descriptions, "no descriptions")
    for channel in seen & set(descriptions):
        attributes = file.attributes(channel)
        require(attributes["unit"] == descriptions[channel]["units"], channel, "unit", attributes["unit"])
        require(attributes["description"] == descriptions[channel]["desc"], channel, "description")


def read_csv(path):
    with open(path, newline="", encoding="utf-8") as file:
        return list(csv.DictReader(file))


def csv_members(channel, record):
    """(member, shape, compare(field)) of every line that a record must have."""
    values = record["v"]
    floats = lambda expected: lambda field: same_floats([float(x) for x in field.split()], expected, channel, field[:80])
    equal = lambda expected: lambda field: require(field == expected, channel, field, expected)
    if values["k"] == "spect":
        groups = max(values["groups"], 1)
        shape = f"{groups}x{values['nsamp']}" if groups > 1 else str(values["nsamp"])
        return [(name, shape, floats(member)) for name, member in zip(members_of(channel, values), values["memb"])]
    if values["k"] in ("img", "imgx"):
        height, width, depth, _, _ = image_facts(values)

        def same_pixels(field):
            data = np.array([int(x) for x in field.split()]).astype(">u2" if depth == 2 else "u1").tobytes()
            require(hashlib.sha256(data).hexdigest() == values["pixels_sha256"], channel, "pixels")

        return [("image", f"{height}x{width}", same_pixels)]
    if values["k"] == "nv":
        return [(name, "1", floats([value])) for name, value in values["items"]]
    if values["k"] == "eq":
        value = values["value"]
        if isinstance(value, dict):
            return [("text", "1", equal(value["text"]))]
        return [(None, str(len(value)), floats(value))]
    return [("value", "1", floats([values["value"]]))]


def compare_csv(rows, expected):
    position = 0
    for number, time, records in expected.events:
        for channel in expected.channels:
            record, presence = records.get(channel, (None, MISSING))
            if record and record["dtype"] & 0xFFFF == 6:
                record["v"]["old"] = True
            lines = csv_members(channel, record) if record else [("", "0", lambda field: require(field == "", field))]
            for member, shape, compare in lines:
                row = rows[position]
                position += 1
                where = (number, channel, member)
                require(int(row["event"]) == number and microseconds_of_text(row["time"]) == time, *where, "event")
                require(row["channel"] == channel and member in (None, row["member"]), *where, "place", row["member"])
                require(int(row["present"]) == presence and row["shape"] == shape, *where, "shape", row["shape"])
                if record:
                    require(microseconds_of_text(row["record_time"]) == microseconds(record["t"]), *where, "record_time")
                compare(row["values"])
    require(position == len(rows), "lines behind the last", len(rows) - position)


def compare_wide(rows, expected, channels):
    """Slow channels: every event behind the first value has one. Events without an update are none of this selection."""
    numbers = {event[0]: event for event in expected.events}
    require(rows, "no lines")
    updates = 0
    for row in rows:
        _, _, records = numbers[int(row["event"])]
        for channel in channels:
            record, presence = records.get(channel, (None, MISSING))
            updates += presence == RECORDED
            require((row[channel] == "") == (record is None), row["event"], channel, "presence")
            if record:
                require(np.float32(row[channel]) == np.float32(record["v"]["value"]), row["event"], channel, "value")
    all_updates = sum(records.get(channel, (0, MISSING))[1] == RECORDED for _, _, records in expected.events
                      for channel in channels)
    require(updates == all_updates > 0, "updates", updates, all_updates)


# --- pictures ---------------------------------------------------------------------------------------------------------


def decode_png(path):
    """Pixels of a grey picture, by the rules of the format alone."""
    with open(path, "rb") as file:
        data = file.read()
    require(data[:8] == b"\x89PNG\r\n\x1a\n", path, "signature")
    position, packed, head = 8, b"", None
    while position < len(data):
        size, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + size]
        require(zlib.crc32(kind + body) == struct.unpack(">I", data[position + 8 + size:position + 12 + size])[0], path, kind)
        if kind == b"IHDR":
            head = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            packed += body
        position += 12 + size
    width, height, depth, color, _, _, interlace = head
    require(color == 0 and interlace == 0, path, "no plain grey picture")
    step = depth // 8
    raw, before, pixels = zlib.decompress(packed), bytearray(width * step), bytearray()
    for line in range(height):
        begin = line * (width * step + 1)
        before = unfiltered(raw[begin], bytearray(raw[begin + 1:begin + 1 + width * step]), before, step)
        pixels += before
    return width, height, step, bytes(pixels)


def unfiltered(filter_type, row, before, step):
    for i in range(len(row)):
        left = row[i - step] if i >= step else 0
        corner = before[i - step] if i >= step else 0
        up = before[i]
        if filter_type == 4:
            guess = left + up - corner
            distances = (abs(guess - left), abs(guess - up), abs(guess - corner))
            add = (left, up, corner)[distances.index(min(distances))]
        else:
            add = (0, left, up, (left + up) // 2)[filter_type]
        row[i] = (row[i] + add) & 0xFF
    return row


def compare_pictures(directory, expected, channel):
    wanted = {}
    for number, _, records in expected.events:
        if channel in records:
            wanted[f"picture-{number}.png"] = records[channel][0]["v"]
    require(sorted(os.listdir(directory)) == sorted(wanted), "names", os.listdir(directory)[:3])
    require(len(wanted) > 10, "hardly any pictures")
    for name, values in wanted.items():
        height, width, depth, _, _ = image_facts(values)
        found = decode_png(f"{directory}/{name}")
        require(found[:3] == (width, height, depth), name, "shape or depth", found[:3])
        require(hashlib.sha256(found[3]).hexdigest() == values["pixels_sha256"], name, "pixels")


def main():
    program, data, generation, kind = sys.argv[1:]
    expected = Expected(data, generation)
    with tempfile.TemporaryDirectory() as directory:
        def export(name, channels, *options):
            selected = [word for channel in channels for word in ("--channel", channel)]
            done = subprocess.run([program, "export", *expected.files, *selected, "-o", f"{directory}/{name}",
                                   "--verify", *options], check=True, capture_output=True, text=True)
            require(", verified" in done.stderr and done.stdout == "", "not verified", done.stderr, done.stdout)
            return f"{directory}/{name}"

        everything = expected.channels
        if kind == "png":
            for channel in [name for name in expected.channels if name.endswith(("/IMG", "/IMGX"))]:
                export("picture.png", [channel])
                compare_pictures(directory, expected, channel)
                for name in os.listdir(directory):
                    os.unlink(f"{directory}/{name}")
        elif kind == "csv":
            compare_csv(read_csv(export("run.csv", everything)), expected)
        elif kind == "wide":
            slow = [name for name in expected.channels if name.endswith(("/I.RBV", "/PRESS", "/RACK.17"))]
            compare_wide(read_csv(export("run.csv", slow, "--wide")), expected, slow)
        elif kind == "h5":
            file = Hdf5(export("run.h5", everything))
            compare_all(file, expected)
            compare_attributes(file, expected)
        else:
            reader = {"npz": Npz, "ndjson": Ndjson}[kind]
            compare_all(reader(export(f"run.{kind}", everything)), expected)
        if kind != "png":
            require(len(os.listdir(directory)) == 1, "left behind", os.listdir(directory))
    print(f"{generation} {kind}: as expected")


if __name__ == "__main__":
    try:
        main()
    except Failure as reason:
        sys.exit(f"differs: {reason}")
