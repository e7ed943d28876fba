#ifndef TARNENUM_H
#define TARNENUM_H

/// The numbers that travel between the application, the library and the device server. The
/// underlying types are fixed, so a value outside the names (a low-byte mask such as 0x105, or an
/// identifier that only a newer server knows) is well defined and passes through unchanged.
namespace TarnEnum {

/// Identifier of an outgoing message. Its low 8 bits become the first byte of the message.
enum MessageIDs : int {
    RegisterClient = 0,
    ConnectOneController = 3,
    ConnectAllControllers = 4,
    CancelAllSends = 5,
    CancelOneSend = 6, ///< also what a request is sent as when the package type is not text
    RequestReadData = 7, ///< also what a request of unknown kind is sent as
    RequestReadFile = 8,
    RequestReadMemData = 9,
    RequestWriteData = 10,
    RequestWriteFile = 11,
    RequestWriteMemData = 12,
    SendOrder = 14,
    AutoConnectSwitch = 19,
};

/// Identifier of an incoming message: 0 to 9 notifications, 10 to 18 replies.
enum NotifyTypes : int {
    RegisterSuccess = 0,
    Unregistered = 1,
    RegisterRejected = 2,
    RegisterError = 3,
    ServerAlive = 4,
    BeginConnectEquipment = 5,
    Reserved6 = 6,
    BeginConnectAllController = 7,
    CompleteConnectAllController = 8,
    EquipmentChange = 9,
    ReplyReserved10 = 10,
    ReplyReadData = 11,
    ReplyReadFile = 12,
    ReplyReadMemData = 13,
    ReplyWriteData = 14,
    ReplyWriteFile = 15,
    ReplyWriteMemData = 16,
    ReplyReserved17 = 17,
    BroadcastReply = 18,
    Reserved22 = 22,
};

/// How a proxy encodes request packages.
enum PackageType : int {
    TextPackage = 0,
    ByteArrayPackage = 1,
};

/// Outcome of a request, set on the package before it is completed.
enum CommResults : int {
    Success = 0,
    TimedOut = 1,
    Rejected = 2, ///< the server or the equipment refused the request
    NoEquipment = 3, ///< no equipment has the connection key of the request
    WriteFailed = 4, ///< the request could not be written to the server connection
    BadReply = 5, ///< the reply text could not be read as a whole
    Cancelled = 6,
};

} // namespace TarnEnum

#endif
