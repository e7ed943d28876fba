"""What the fuzz targets are, for the scripts beside this file."""

from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDER = ROOT / "fuzz"
BUILD = ROOT / "build" / "fuzz"


@dataclass(frozen=True)
class Target:
    name: str
    about: str
    sources: tuple  # whose coverage its corpus is measured by: paths from the root
    wanted: int = 10_000_000  # executions before its silence means something
    max_len: int = 1024  # bytes of an input
    runs_per_process: int = 1_000_000  # what the library keeps on purpose adds up
    suppressions: str = "tests/lsan.supp"

    @property
    def program(self):
        return f"fuzz_{self.name}"

    @property
    def corpus(self):
        return FOLDER / "corpus" / self.name

    @property
    def dictionary(self):
        return FOLDER / "dictionaries" / f"{self.name}.dict"


ALL = {
    target.name: target
    for target in (
        Target("frames", "the frame reader against a second one", ("transport/FrameReader.cpp",),
               max_len=384),
        Target("table", "the equipment table's reader against a second one",
               ("proxy/equipment_table.cpp", "proxy/EquipmentTableText.cpp",
                "transport/EquipmentKeyText.cpp")),
        Target("packages", "the packages' text form and byte form, there and back",
               ("interface/ksproxypackage/PackageTextForm.cpp",
                "interface/ksproxypackage/PackageByteForm.cpp")),
        Target("reception", "received messages, and both drains of the replies, against a model",
               ("proxy/reception.cpp", "proxy/notify_loop.cpp", "proxy/reply_matching.cpp",
                "proxy/events.cpp", "proxy/equipment_table.cpp", "transport/MessageBody.cpp"),
               wanted=1_000_000),
        Target("scenario", "the simulated server's JSON", (
            "server/CommandFields.cpp", "server/CommandReader.cpp", "server/EquipmentConfig.cpp",
            "server/EquipmentReader.cpp", "server/Fault.cpp", "server/FaultKinds.cpp",
            "server/JsonFields.cpp", "server/JsonText.cpp", "server/MemoryReader.cpp",
            "server/MessageFilter.cpp", "server/ScenarioReader.cpp"),
            max_len=4096, suppressions="fuzz/qt-json.supp"),
        Target("session", "the session layer, with a server that sends what it likes", (
            "session/DeviceReply.cpp", "session/DeviceReplyPrivate.cpp", "session/DeviceSession.cpp",
            "session/DeviceTransfer.cpp", "session/DeviceTransferPrivate.cpp",
            "session/EquipmentTableChange.cpp", "session/OutstandingReplies.cpp",
            "session/SendPacer.cpp", "session/ServerLink.cpp", "session/ServerLinkPackages.cpp",
            "session/SessionCore.cpp", "session/SessionError.cpp", "session/SessionOpening.cpp",
            "session/SessionOptions.cpp", "session/SessionRequests.cpp", "session/SpareProxies.cpp"),
            wanted=1_000_000, max_len=192, runs_per_process=100_000),
        Target("server", "the simulated server, with clients that send what they like", (
            "server/ClientConnection.cpp", "server/ClientGroup.cpp", "server/DeviceRequest.cpp",
            "server/DeviceServer.cpp", "server/EquipmentEvents.cpp", "server/EquipmentMemory.cpp",
            "server/EquipmentRack.cpp", "server/EquipmentUnit.cpp", "server/FaultPlan.cpp",
            "server/FaultyFrame.cpp", "server/FaultyWire.cpp", "server/HeldMessages.cpp",
            "server/RequestQueue.cpp"), wanted=1_000_000),
    )
}


def chosen(parser, names):
    """The targets of those names, all for none; ends the program of `parser` for an unknown one."""
    for name in names:
        if name not in ALL:
            parser.error(f"there is no target {name}: there are {', '.join(ALL)}")
    return [ALL[name] for name in names or ALL]
