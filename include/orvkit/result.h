// Result codes. Every operation of the library returns an int: 0 for success, any other value names the
// condition. Codes come in blocks of 256, one block for each class or family of functions: the high byte
// names the module, the low byte numbers the condition inside it, from 1.
//
// The constants carry the module's name in front; RESULT_ stands before it where the bare prefix belongs to
// an enumeration (DICT_UID, LOG_MSG).
#ifndef ORVKIT_RESULT_H
#define ORVKIT_RESULT_H

inline constexpr int RESULT_OK = 0;

// ---- 0x0E00 DIMSE command verification ------------------------------------------------------------------
inline constexpr int CMD_DATASET_RULE = 3585;   // 0x0E01 data set absent or present against the command
inline constexpr int CMD_FIELD_MISSING = 3587;  // 0x0E03 a required field is missing from the command

// ---- 0x1200 DIMSE responses -----------------------------------------------------------------------------
inline constexpr int RSP_FIELD_MISSING = 4609;  // 0x1201 the request lacks a field that the response needs
inline constexpr int RSP_NULL_REQUEST = 4611;   // 0x1203 null request
inline constexpr int RSP_WRONG_REQUEST = 4612;  // 0x1204 the request is of another command

// ---- 0x1400 dictionary ----------------------------------------------------------------------------------
inline constexpr int RESULT_DICT_EXISTS = 5121;        // 0x1401 tag, sequence or UID is already registered
inline constexpr int RESULT_DICT_NOT_FOUND = 5122;     // 0x1402 tag, UID, VR or message is not registered
inline constexpr int RESULT_DICT_NULL = 5123;          // 0x1403 null argument, or a UID that is no UID
inline constexpr int RESULT_DICT_LIMIT = 5124;         // 0x1404 tag, sequence or UID table is full
inline constexpr int RESULT_DICT_NOT_SQ = 5125;        // 0x1405 the element is not of type SQ
inline constexpr int RESULT_DICT_NOT_XFER_SYN = 5128;  // 0x1408 the UID is not a transfer syntax
inline constexpr int RESULT_DICT_EDITION = 5136;       // 0x1410 not one of the editions

// ---- 0x1600 data element values, data set framing and parsing, LZW codec --------------------------------
inline constexpr int ELEM_SHORT_BUFFER = 5633;    // 0x1601 header or value runs past the buffer, or malformed
inline constexpr int ELEM_VALUE_REFUSED = 5634;   // 0x1602 type or value refused, or value out of range
inline constexpr int ELEM_UNKNOWN = 5635;         // 0x1603 unknown element, ignored by a length scan
inline constexpr int ELEM_VR_SIZE = 5636;         // 0x1604 invalid VR size, or VR cannot deliver the type
inline constexpr int ELEM_XFER_SYNTAX = 5637;     // 0x1605 transfer syntax not usable for the operation
inline constexpr int ELEM_NULL_ARGUMENT = 5638;   // 0x1606 null argument
inline constexpr int ELEM_EMPTY_VALUE = 5642;     // 0x160A no value, or nothing but blanks
inline constexpr int ELEM_TOO_LONG = 5643;        // 0x160B text exceeds the limit of its VR
inline constexpr int ELEM_ILLEGAL_CHAR = 5644;    // 0x160C illegal character in a text
inline constexpr int ELEM_TRUNCATED = 5645;       // 0x160D the caller's buffer is too short: value cut
inline constexpr int ELEM_NO_MORE_VALUES = 5646;  // 0x160E the last value has been read
inline constexpr int ELEM_LZW_HEADER = 5664;      // 0x1620 not an LZW stream, or one with too wide codes
inline constexpr int ELEM_LZW_RESERVED = 5665;    // 0x1621 reserved for the LZW codec
inline constexpr int ELEM_LZW_OUTPUT = 5666;      // 0x1622 LZW output buffer too small
inline constexpr int ELEM_LZW_CODE = 5667;        // 0x1623 corrupt LZW code stream
inline constexpr int ELEM_INVALID_INDEX = 5668;   // 0x1624 invalid value index
inline constexpr int ELEM_NOT_SEQUENCE = 5669;    // 0x1625 the element is not a sequence
inline constexpr int ELEM_REFUSED = 5670;         // 0x1626 refused by the exception callback, or dropped
inline constexpr int ELEM_NO_MEMORY = 5671;       // 0x1627 memory allocation failed
inline constexpr int ELEM_CHARSET = 5672;         // 0x1628 not a defined term of a character set
inline constexpr int ELEM_CHARSET_LOSS = 5673;    // 0x1629 characters that could not be converted
inline constexpr int ELEM_PACKED_STREAM = 5674;   // 0x162A compressed data set cut short or damaged

// ---- 0x1800 data set lookup -----------------------------------------------------------------------------
inline constexpr int ELEM_NOT_FOUND = 6146;  // 0x1802 no element with that tag in the data set

// ---- 0x2600 lists ---------------------------------------------------------------------------------------
inline constexpr int LIST_PRINT = 9729;  // 0x2601 null argument, or the print file cannot be opened

// ---- 0x2800 log -----------------------------------------------------------------------------------------
inline constexpr int RESULT_LOG_ABSENT = 10241;       // 0x2801 there is no log object
inline constexpr int RESULT_LOG_SUPPRESSED = 10242;   // 0x2802 the level is off: nothing was written
inline constexpr int RESULT_LOG_LEVEL = 10243;        // 0x2803 not one of the four levels
inline constexpr int RESULT_LOG_NULL_FORMAT = 10244;  // 0x2804 null format
inline constexpr int RESULT_LOG_FILE = 10245;         // 0x2805 the level's file cannot be opened

// ---- 0x2A00 DIMSE message -------------------------------------------------------------------------------
inline constexpr int MSG_COMMAND_TYPE = 10754;  // 0x2A02 invalid DIMSE command type

// ---- 0x2C00 association and message service -------------------------------------------------------------
inline constexpr int MSM_CALLED_AE = 11267;          // 0x2C03 invalid called AE title
inline constexpr int MSM_CALLING_AE = 11268;         // 0x2C04 invalid calling AE title
inline constexpr int MSM_PRINT = 11272;              // 0x2C08 null argument, or print file cannot be opened
inline constexpr int MSM_NO_SUPPORT_LIST = 11274;    // 0x2C0A no SOP classes, or no common transfer syntax
inline constexpr int MSM_CONTEXT_ID = 11275;         // 0x2C0B unknown presentation context ID
inline constexpr int MSM_SOP_CLASS = 11276;          // 0x2C0C proposal empty or too long, or not supported
inline constexpr int MSM_CONTEXT_SYNTAX = 11277;     // 0x2C0D no association or transfer syntax for it
inline constexpr int MSM_RESERVED_0E = 11278;        // 0x2C0E reserved
inline constexpr int MSM_ABORTED = 11345;            // 0x2C51 outcome: association aborted
inline constexpr int MSM_ACCEPTED = 11346;           // 0x2C52 outcome: association accepted
inline constexpr int MSM_REJECTED = 11347;           // 0x2C53 outcome: association rejected
inline constexpr int MSM_REQUEST_ANSWERED = 11348;   // 0x2C54 outcome: association request answered
inline constexpr int MSM_MESSAGE = 11349;            // 0x2C55 outcome: message received
inline constexpr int MSM_RESERVED_56 = 11350;        // 0x2C56 reserved
inline constexpr int MSM_RELEASED = 11351;           // 0x2C57 outcome: release response received
inline constexpr int MSM_RELEASE_REQUESTED = 11352;  // 0x2C58 outcome: release requested by the peer
inline constexpr int MSM_NO_CONNECTION = 11353;      // 0x2C59 no connection and no provider role
inline constexpr int MSM_READ_TIMEOUT = 11354;       // 0x2C5A no data within the read time-out
inline constexpr int MSM_CLOSED = 11355;             // 0x2C5B connection closed
inline constexpr int MSM_RECEIVE = 11356;            // 0x2C5C receive failed
inline constexpr int MSM_CONNECT_TIMEOUT = 11357;    // 0x2C5D no incoming connection in time

// ---- 0x2E00, 0x3200, 0x3600 N-ACTION, N-DELETE and N-GET responses --------------------------------------
inline constexpr int N_ACTION_FIELD_MISSING = 11777;  // 0x2E01 the request lacks a field
inline constexpr int N_ACTION_NULL_REQUEST = 11779;   // 0x2E03 null request
inline constexpr int N_ACTION_WRONG_REQUEST = 11780;  // 0x2E04 the request is of another command
inline constexpr int N_DELETE_FIELD_MISSING = 12801;  // 0x3201
inline constexpr int N_DELETE_NULL_REQUEST = 12803;   // 0x3203
inline constexpr int N_DELETE_WRONG_REQUEST = 12804;  // 0x3204
inline constexpr int N_GET_FIELD_MISSING = 13825;     // 0x3601
inline constexpr int N_GET_NULL_REQUEST = 13827;      // 0x3603
inline constexpr int N_GET_WRONG_REQUEST = 13828;     // 0x3604

// ---- 0x2F00 sequence item -------------------------------------------------------------------------------
inline constexpr int ITEM_NULL_BUFFER = 12033;  // 0x2F01 null buffer given to the framing of an item

// ---- 0x3A00, 0x3C00 P-DATA-TF ---------------------------------------------------------------------------
inline constexpr int DATATF_NOT_READY = 14854;  // 0x3A06 the socket is not readable in time
inline constexpr int DATATF_SOCKET = 14856;     // 0x3A08 receive or send failed or was short
inline constexpr int DATATF_READ = 15361;       // 0x3C01 P-DATA-TF cannot be read

// ---- 0x4000 transport and its state machine -------------------------------------------------------------
inline constexpr int TSM_EVENT_RANGE = 16386;         // 0x4002 event number out of range
inline constexpr int TSM_NO_CONNECTION = 16388;       // 0x4004 no connection or no current PDU
inline constexpr int TSM_NULL_ARGUMENT = 16390;       // 0x4006 null argument
inline constexpr int TSM_SOCKET_STARTUP = 16401;      // 0x4011 the socket library cannot be started
inline constexpr int TSM_HOST_NAME = 16402;           // 0x4012 the host's own name is not available
inline constexpr int TSM_RESOLVE = 16403;             // 0x4013 the peer's name cannot be resolved
inline constexpr int TSM_CONNECT = 16404;             // 0x4014 connecting failed
inline constexpr int TSM_SOCKET = 16405;              // 0x4015 no socket
inline constexpr int TSM_ACCEPT = 16406;              // 0x4016 accepting failed
inline constexpr int TSM_BIND = 16407;                // 0x4017 the port cannot be bound
inline constexpr int TSM_LISTEN_LIMIT = 16408;        // 0x4018 not listening, or too many listening ports
inline constexpr int TSM_LISTEN = 16409;              // 0x4019 listening failed
inline constexpr int TSM_ACCEPT_TIMEOUT = 16410;      // 0x401A no incoming connection in time
inline constexpr int TSM_SECURITY = 16411;            // 0x401B the connection could not be secured
inline constexpr int TSM_ABORT_INDICATION = 16465;    // 0x4051 outcome: abort
inline constexpr int TSM_ABORT_CLIENT = 16466;        // 0x4052 outcome: abort, as client
inline constexpr int TSM_DATA_INDICATION = 16467;     // 0x4053 outcome: data
inline constexpr int TSM_RELEASE_CONFIRM = 16468;     // 0x4054 outcome: release confirmed
inline constexpr int TSM_RELEASE_INDICATION = 16469;  // 0x4055 outcome: release requested
inline constexpr int TSM_CLOSED = 16470;              // 0x4056 outcome: transport closed

// ---- 0x4200 upper layer ---------------------------------------------------------------------------------
inline constexpr int TUL_NO_CONNECTION = 16898;  // 0x4202 no connection
inline constexpr int TUL_PROTOCOL = 16899;       // 0x4203 PDU out of sequence, bad context ID or time-out
inline constexpr int TUL_RESERVED_04 = 16900;    // 0x4204 reserved
inline constexpr int TUL_NOT_SCU = 16901;        // 0x4205 client event without the user role
inline constexpr int TUL_NOT_SCP = 16902;        // 0x4206 accept event without the provider role
inline constexpr int TUL_PDU_REFUSED = 16907;    // 0x420B a received PDU was refused and deleted
inline constexpr int TUL_DUPLICATE = 16911;      // 0x420F the pixel data's file handle cannot be duplicated
inline constexpr int TUL_APPEND = 16914;         // 0x4212 the pixel data's file cannot be opened to append

// ---- 0x4400 utilities and raw stream scanning -----------------------------------------------------------
inline constexpr int UTIL_STRING_LENGTH = 17409;      // 0x4401 text of the wrong length
inline constexpr int UTIL_MALFORMED = 17410;          // 0x4402 malformed text, or another tag than expected
inline constexpr int UTIL_NO_TERMINATOR = 17412;      // 0x4404 the terminator of encapsulated data is missing
inline constexpr int UTIL_NULL_ARGUMENT = 17413;      // 0x4405 null argument
inline constexpr int UTIL_READ = 17416;               // 0x4408 read error in a stream
inline constexpr int UTIL_LENGTH_FIELD = 17418;       // 0x440A length field invalid or beyond the buffer
inline constexpr int UTIL_ELEMENT_NOT_FOUND = 17419;  // 0x440B the stream does not hold the element
inline constexpr int UTIL_NOT_SUPPORTED = 17423;      // 0x440F a stream that cannot be scanned

// ---- 0x4600, 0x4800, 0x4A00, 0x4C00 association PDUs ----------------------------------------------------
inline constexpr int ABORT_ABSENT = 17921;         // 0x4601 abort data absent
inline constexpr int ABORT_READ = 17922;           // 0x4602 abort PDU cannot be read
inline constexpr int ABORT_NULL_ARGUMENT = 17923;  // 0x4603 null argument
inline constexpr int ACRQ_INVALID = 18434;         // 0x4802 association data absent, malformed, or bad item
inline constexpr int ACRQ_NULL_ARGUMENT = 18435;   // 0x4803 null argument
inline constexpr int ACRQ_PDU_TYPE = 18436;        // 0x4804 PDU type that cannot be framed
inline constexpr int ACRQ_CONTEXT_EXISTS = 18437;  // 0x4805 the presentation context is already in the list
inline constexpr int ACRQ_CONTEXT_LIMIT = 18439;   // 0x4807 too many presentation contexts
inline constexpr int RJ_ABSENT = 18946;            // 0x4A02 reject data absent, or PDU cannot be read
inline constexpr int RJ_NULL_ARGUMENT = 18947;     // 0x4A03 null argument
inline constexpr int RELEASE_READ = 19458;         // 0x4C02 release PDU cannot be read

// ---- 0x5800 media storage: Part 10 files and DICOMDIR ---------------------------------------------------
inline constexpr int DIR_STRING_SIZE = 22529;      // 0x5801 identifier too long, or invalid File ID
inline constexpr int DIR_NOT_PART10 = 22530;       // 0x5802 not a Part 10 file, or no root path
inline constexpr int DIR_FILE_ID = 22531;          // 0x5803 invalid referenced File ID
inline constexpr int DIR_READ_WRITE = 22532;       // 0x5804 read or write failed
inline constexpr int DIR_OPEN = 22533;             // 0x5805 the file cannot be opened
inline constexpr int DIR_RESERVED_06 = 22534;      // 0x5806 reserved
inline constexpr int DIR_FILE_SIZE = 22535;        // 0x5807 file larger than the limit, or bad limit
inline constexpr int DIR_STAT = 22536;             // 0x5808 the file cannot be examined
inline constexpr int DIR_RESERVED_09 = 22537;      // 0x5809 reserved
inline constexpr int DIR_LEVEL_RULE = 22538;       // 0x580A record level rule violated
inline constexpr int DIR_META_INFO = 22539;        // 0x580B meta information invalid or incomplete
inline constexpr int DIR_RESERVED_0C = 22540;      // 0x580C reserved
inline constexpr int DIR_NULL_ARGUMENT = 22541;    // 0x580D null argument
inline constexpr int DIR_MULTI_REFERENCE = 22542;  // 0x580E cannot be linked to a multi-referenced record

// ---- 0x5A00 media manager -------------------------------------------------------------------------------
inline constexpr int MEDIA_STAT = 23041;           // 0x5A01 the file cannot be examined
inline constexpr int MEDIA_IN_USE = 23042;         // 0x5A02 referenced by an in-use multi-referenced record
inline constexpr int MEDIA_FILE_ID = 23043;        // 0x5A03 File ID not in the DICOMDIR, or no inquiry
inline constexpr int MEDIA_NULL_ARGUMENT = 23044;  // 0x5A04 null argument
inline constexpr int MEDIA_REMOVE = 23045;         // 0x5A05 the file cannot be removed
inline constexpr int MEDIA_PERMISSION = 23046;     // 0x5A06 the role does not permit the service

// ---- 0x5C00 TLS (tls.h) ---------------------------------------------------------------------------------
inline constexpr int TLS_NULL_ARGUMENT = 23553;  // 0x5C01 null argument
inline constexpr int TLS_SETTING = 23554;        // 0x5C02 a setting that there is not, or not with the others
inline constexpr int TLS_FILE = 23555;  // 0x5C03 a file cannot be read or written, or holds something else
inline constexpr int TLS_KEY_EXPOSED = 23556;   // 0x5C04 everybody can read a private key
inline constexpr int TLS_KEY_MISMATCH = 23557;  // 0x5C05 the private key is not that of the certificate
inline constexpr int TLS_PASSWORD = 23558;      // 0x5C06 the password of a private key is missing or wrong

// ---- 0x5E00 frames of pixel data -------------------------------------------------------------------------
inline constexpr int FRAMES_NO_PIXELS = 24065;  // 0x5E01 there is no pixel data
inline constexpr int FRAMES_LAYOUT = 24066;     // 0x5E02 rows, columns, samples or bits do not make a frame
inline constexpr int FRAMES_NUMBER = 24067;     // 0x5E03 there is no frame of that number
inline constexpr int FRAMES_CUT = 24068;        // 0x5E04 the frame is not all there
inline constexpr int FRAMES_NOT_APART = 24069;  // 0x5E05 the fragments do not tell where frames begin
inline constexpr int FRAMES_ROOM = 24070;       // 0x5E06 the caller's buffer is too small

// ---- 0x6000 index of an archive (index.h) ----------------------------------------------------------------
inline constexpr int INDEX_NULL_ARGUMENT = 24577;  // 0x6001 null argument
inline constexpr int INDEX_CLOSED = 24578;         // 0x6002 not open, or open for reading alone
inline constexpr int INDEX_PLACE = 24579;          // 0x6003 no such engine, or a place that cannot be opened
inline constexpr int INDEX_ABSENT = 24580;         // 0x6004 there is none
inline constexpr int INDEX_VERSION = 24581;        // 0x6005 laid out by another version of the library
inline constexpr int INDEX_DAMAGED = 24582;        // 0x6006 what is stored cannot be
inline constexpr int INDEX_FULL = 24583;           // 0x6007 there is no room left, or it may not be written
inline constexpr int INDEX_BUSY = 24584;           // 0x6008 another program holds it for too long
inline constexpr int INDEX_ENGINE = 24585;         // 0x6009 the engine has failed
inline constexpr int INDEX_IDENTITY = 24586;       // 0x600A an object without the UIDs that it is known by
inline constexpr int INDEX_KEYS = 24587;           // 0x600B keys that do not make a request
inline constexpr int INDEX_STOPPED = 24588;        // 0x600C a callback has ended it
inline constexpr int INDEX_RESULTS = 24589;        // 0x600D there are more results than asked for
inline constexpr int INDEX_TIME = 24590;           // 0x600E the time is over

#endif
