// The state table of the upper layer (PS3.8 table 9-10), with this library's own cells.
#ifndef ORVKIT_NETWORK_STATE_TABLE_H
#define ORVKIT_NETWORK_STATE_TABLE_H

namespace orvkit {

// In the order of the transport's action table.
// clang-format off
enum TsmAction : unsigned char {
    AA1, AA2, AA3, AA4, AA5, AA6, AA7, AA8,
    AE1, AE2, AE3, AE4, AE5, AE6, AE7, AE8,
    AR1, AR2, AR3, AR4, AR5, AR6, AR7, AR8, AR9, AR10,
    DT1, DT2,
    none,
};
// clang-format on

struct TsmCell {
    TsmAction action;
    unsigned char next;  // 0: the state stays, or the action sets it
};

inline constexpr int kTsmEvents = 19;
inline constexpr int kTsmStates = 13;

// Rows are events from Evt1 on, columns states from Sta1 on. Where it departs from the standard it does so on
// purpose: Evt1 in Sta2 opens a connection; Evt6 in Sta5 reads the PDU as a reject; Evt17 to Evt19 in Sta1
// close the transport; Evt18 in Sta7 ends without an action; Evt15 in Sta13 is ignored.
// clang-format off
inline constexpr TsmCell kTsmTable[kTsmEvents][kTsmStates] = {
    // Evt1 association request
    {{AE1, 4}, {AE1, 4}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt2 connection confirmed
    {{none, 0}, {none, 0}, {none, 0}, {AE2, 5}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt3 AC PDU received
    {{none, 0}, {AA1, 13}, {AA8, 13}, {none, 0}, {AE3, 6}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // Evt4 RJ PDU received
    {{none, 0}, {AA1, 13}, {AA8, 13}, {none, 0}, {AE4, 1}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // Evt5 connection indication
    {{AE5, 2}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt6 RQ PDU received
    {{none, 0}, {AE6, 3}, {AA8, 13}, {none, 0}, {AE4, 1}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA7, 13}},
    // Evt7 accept response
    {{none, 0}, {none, 0}, {AE7, 6}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt8 reject response
    {{none, 0}, {none, 0}, {AE8, 13}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt9 P-DATA request
    {{none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {DT1, 6}, {none, 0}, {AR7, 8}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt10 P-DATA-TF received
    {{none, 0}, {AA1, 13}, {AA8, 13}, {none, 0}, {AA8, 13}, {DT2, 6}, {AR6, 7}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // Evt11 release request
    {{none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {AR1, 7}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}},
    // Evt12 RELEASE-RQ received
    {{none, 0}, {AA1, 13}, {AA8, 13}, {none, 0}, {AA8, 13}, {AR2, 8}, {AR8, 0}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA6, 13}},
    // Evt13 RELEASE-RP received
    {{none, 0}, {AA1, 13}, {AA8, 13}, {none, 0}, {AA8, 13}, {AA8, 13}, {AR3, 1}, {AA8, 13}, {AA8, 13}, {AR10, 12}, {AR3, 1}, {AA8, 13}, {AA6, 13}},
    // Evt14 release response
    {{none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {AR4, 13}, {AR9, 11}, {none, 0}, {none, 0}, {AR4, 13}, {none, 0}},
    // Evt15 abort request
    {{none, 0}, {none, 0}, {AA1, 13}, {AA2, 1}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {AA1, 13}, {none, 0}},
    // Evt16 A-ABORT received
    {{none, 0}, {AA2, 1}, {AA3, 1}, {none, 0}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA3, 1}, {AA2, 1}},
    // Evt17 connection closed
    {{AA2, 1}, {AA5, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AA4, 1}, {AR5, 1}},
    // Evt18 ARTIM expired
    {{AA2, 1}, {AA2, 1}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 1}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {none, 0}, {AA2, 1}},
    // Evt19 invalid PDU
    {{AA2, 1}, {AA1, 13}, {AA8, 13}, {none, 0}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA8, 13}, {AA7, 13}},
};
// clang-format on

}  // namespace orvkit

#endif
