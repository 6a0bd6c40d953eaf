// The state table of the upper layer (PS3.8 table 9-10), with this library's own cells.
#ifndef ORVKIT_NETWORK_STATE_TABLE_H
#define ORVKIT_NETWORK_STATE_TABLE_H

#include <array>
#include <cstddef>
#include <string_view>

namespace orvkit {

// In the order of the transport's action table.
inline constexpr std::string_view kTsmActions[] = {
    "AA-1", "AA-2", "AA-3", "AA-4", "AA-5", "AA-6",  "AA-7", "AA-8", "AE-1", "AE-2",
    "AE-3", "AE-4", "AE-5", "AE-6", "AE-7", "AE-8",  "AR-1", "AR-2", "AR-3", "AR-4",
    "AR-5", "AR-6", "AR-7", "AR-8", "AR-9", "AR-10", "DT-1", "DT-2", "none",
};

inline constexpr std::size_t kTsmEvents = 19;
inline constexpr std::size_t kTsmStates = 13;

struct TsmCell {
    unsigned char action;  // an index of the action table
    unsigned char next;    // 0: the state stays, or the action sets it
};
using TsmTable = std::array<std::array<TsmCell, kTsmStates>, kTsmEvents>;  // Evt1 and Sta1 stand at 0

// "AA-1>13": an action and the state behind it; "-": none.
consteval TsmCell tsmCell(std::string_view word) {
    const std::size_t arrow = word.find('>');
    const std::string_view name = word == "-" ? "none" : word.substr(0, arrow);
    TsmCell cell{0, 0};
    while (name != kTsmActions[cell.action]) ++cell.action;
    if (arrow == word.npos) return cell;
    for (const char c : word.substr(arrow + 1))
        cell.next = static_cast<unsigned char>(10 * cell.next + (c - '0'));
    if (cell.next < 1 || cell.next > kTsmStates) throw "no state of this number";
    return cell;
}

// The cells are the last words of each line below the first; in front of them stands what the event is.
consteval TsmTable tsmTable(std::string_view text) {
    TsmTable table{};
    text.remove_prefix(text.find("Evt"));
    for (auto& row : table) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() + 1);
        for (std::size_t state = kTsmStates; state-- > 0;) {
            line = line.substr(0, line.find_last_not_of(' ') + 1);
            const std::size_t word = line.rfind(' ') + 1;
            row[state] = tsmCell(line.substr(word));
            line = line.substr(0, word);
        }
    }
    if (!text.empty()) throw "more than the events";
    return table;
}

// Where it departs from the standard it does so on purpose: Evt1 in Sta2 opens a connection; Evt6 in Sta5
// reads the PDU as a reject; Evt17 to Evt19 in Sta1 close the transport; Evt18 in Sta7 ends without an
// action; Evt15 in Sta13 is ignored.
// clang-format off
inline constexpr TsmTable kTsmTable = tsmTable(R"(
                            Sta1   Sta2    Sta3    Sta4   Sta5    Sta6    Sta7    Sta8    Sta9    Sta10    Sta11   Sta12   Sta13
Evt1  association request   AE-1>4 AE-1>4  -       -      -       -       -       -       -       -        -       -       -
Evt2  connected             -      -       -       AE-2>5 -       -       -       -       -       -        -       -       -
Evt3  AC received           -      AA-1>13 AA-8>13 -      AE-3>6  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
Evt4  RJ received           -      AA-1>13 AA-8>13 -      AE-4>1  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
Evt5  connection indication AE-5>2 -       -       -      -       -       -       -       -       -        -       -       -
Evt6  RQ received           -      AE-6>3  AA-8>13 -      AE-4>1  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-7>13
Evt7  accept response       -      -       AE-7>6  -      -       -       -       -       -       -        -       -       -
Evt8  reject response       -      -       AE-8>13 -      -       -       -       -       -       -        -       -       -
Evt9  P-DATA request        -      -       -       -      -       DT-1>6  -       AR-7>8  -       -        -       -       -
Evt10 P-DATA-TF received    -      AA-1>13 AA-8>13 -      AA-8>13 DT-2>6  AR-6>7  AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
Evt11 release request       -      -       -       -      -       AR-1>7  -       -       -       -        -       -       -
Evt12 RELEASE-RQ received   -      AA-1>13 AA-8>13 -      AA-8>13 AR-2>8  AR-8    AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
Evt13 RELEASE-RP received   -      AA-1>13 AA-8>13 -      AA-8>13 AA-8>13 AR-3>1  AA-8>13 AA-8>13 AR-10>12 AR-3>1  AA-8>13 AA-6>13
Evt14 release response      -      -       -       -      -       -       -       AR-4>13 AR-9>11 -        -       AR-4>13 -
Evt15 abort request         -      -       AA-1>13 AA-2>1 AA-1>13 AA-1>13 AA-1>13 AA-1>13 AA-1>13 AA-1>13  AA-1>13 AA-1>13 -
Evt16 ABORT received        -      AA-2>1  AA-3>1  -      AA-3>1  AA-3>1  AA-3>1  AA-3>1  AA-3>1  AA-3>1   AA-3>1  AA-3>1  AA-2>1
Evt17 connection closed     AA-2>1 AA-5>1  AA-4>1  AA-4>1 AA-4>1  AA-4>1  AA-4>1  AA-4>1  AA-4>1  AA-4>1   AA-4>1  AA-4>1  AR-5>1
Evt18 ARTIM expired         AA-2>1 AA-2>1  -       -      -       -       none>1  -       -       -        -       -       AA-2>1
Evt19 invalid PDU           AA-2>1 AA-1>13 AA-8>13 -      AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-7>13
)");
// clang-format on

}  // namespace orvkit

#endif
