// Storage commitment: `orvkit serve --archive` asked, `orvkit send --commit` answered.
#include <memory>

#include "orvkit/msm.h"
#include "orvkit/sequence.h"
#include "tests/tools/command.h"
#include "tests/tools/raw_peer.h"

namespace tools_test {
namespace {

constexpr const char* kPush = "1.2.840.10008.1.20.1";
constexpr const char* kPushInstance = "1.2.840.10008.1.20.1.1";
constexpr const char* kCt = "1.2.840.10008.5.1.4.1.1.2";
constexpr const char* kStored = "1.3.6.1.4.1.70707.9.1.1.1.1.1";  // of the phantom
constexpr const char* kLost = "1.3.6.1.4.1.70707.9.1.1.1.1.3";    // whose file goes

class CommitmentTest : public ArchiveTest {
  protected:
    // A server with what was sent to it.
    void begin(const std::string& options) {
        must("orvkit phantom set --size 32 --series 1 --images 3");
        ArchiveTest::begin(options);
        must("orvkit send " + peer() + " set");
    }
};

Bytes itemsFor(const std::vector<std::string>& instances) {
    Bytes all;
    for (const std::string& each : instances) {
        append(all, element(0xFFFEE000, joined({element(0x00081150, uidValue(kCt)),
                                                element(0x00081155, uidValue(each))})));
    }
    return all;
}
// The same one so often.
Bytes many(std::size_t number) {
    const Bytes one = itemsFor({kStored});
    Bytes all;
    while (number-- > 0) append(all, one);
    return all;
}
Bytes dataset(const std::string& transaction, const Bytes& items) {
    return joined({element(0x00081195, uidValue(transaction)), element(0x00081199, items)});
}
Bytes action(const Bytes& information, const std::string& sopClass = kPush,
             const std::string& instance = kPushInstance, unsigned int type = 1, bool follows = true) {
    Stream rest(UID_LITTLE_ENDIAN_IMPLICIT);
    rest.ui(0x00000003, sopClass).us(0x00000100, 0x0130).us(0x00000110, 9);
    rest.us(0x00000800, follows ? 1 : 0x0101).ui(0x00001001, instance).us(0x00001008, type);
    return follows ? joined({command(rest), inPieces(information)}) : command(rest);
}

TEST_F(CommitmentTest, ASenderLearnsWhatIsCommittedAndWhyTheRestIsNot) {
    begin("--archive");
    const std::string commit = "orvkit send " + peer() + " set --commit";
    const Outcome all = must(commit);
    EXPECT_TRUE(holds(all.out, "set/SE000001/IM000003: committed\n3 committed, 0 not"));
    const Outcome some = sh("echo more >>$(find in -name '*.1.2.dcm')\n" + commit);
    EXPECT_EQ(some.status, 1) << log();
    EXPECT_TRUE(holds(some.out, "2 committed, 1 not"));
    EXPECT_TRUE(holds(some.err, "IM000002: not committed: 0x0110"));
}

TEST_F(CommitmentTest, ASenderIsToldWhenNobodyCommits) {
    begin("");
    const Outcome refused = sh("orvkit send " + peer() + " set --commit");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(holds(refused.err, "no commitment"));
    EXPECT_TRUE(holds(refused.err, "IM000003: not committed: no report came of it"));
    for (const char* const options :
         {"--commit-port 1", "--commit --commit-port 0", "--commit --commit-time 0"})
        EXPECT_EQ(sh("orvkit send " + peer() + " set " + options).status, 2) << options;
}

TEST_F(CommitmentTest, HostileRequestsGetTheirStatusAndTheAssociationGoesOn) {
    begin("--archive");
    RawPeer raw(port);
    ASSERT_TRUE(raw.associate(kPush));
    const Bytes good = itemsFor({kStored});
    const Bytes open =
        joined({element(0x00081195, uidValue("1.2")), Bytes{8, 0, 0x99, 0x11, 0xFF, 0xFF, 0xFF, 0x7F}});
    const struct {
        const char* what;
        Bytes request;
        unsigned int status;
    } cases[] = {
        {"no data set", action({}, kPush, kPushInstance, 1, false), 0x0115},
        {"nothing in it", action({}), 0x0115},
        {"no transaction", action(element(0x00081199, good)), 0x0115},
        {"no UID", action(dataset("1..2", good)), 0x0115},
        {"no references", action(dataset("1.2", {})), 0x0115},
        {"references of nothing", action(dataset("1.2", Bytes{0xFE, 0xFF, 0, 0xE0, 0, 0, 0, 0})), 0x0115},
        {"references that are no items", action(dataset("1.2", bytesOf("abcdefgh"))), 0x0115},
        {"a length beyond the end", action(open), 0x0115},
        {"too many", action(dataset("1.2", many(100001))), 0x0213},
        {"another class", action(dataset("1.2", good), kCt), 0x0118},
        {"another instance", action(dataset("1.2", good), kPush, "1.2.3"), 0x0112},
        {"another action", action(dataset("1.2", good), kPush, kPushInstance, 2), 0x0123}};
    for (const auto& each : cases) {
        ASSERT_TRUE(raw.say(each.request)) << each.what;
        EXPECT_EQ(statusIn(raw.hear()), each.status) << each.what << "\n" << log();
    }
}

// Somebody else comes to the port of reports while one is waited for: tried until that was in time.
TEST_F(CommitmentTest, OfTlsItListensForReportsOverTls) {
    if (sh("orvkit tls make site one,127.0.0.1 >/dev/null").status != 0) GTEST_SKIP() << "TLS is left out";
    const std::string tls = " --tls --tls-cert site/one.pem --tls-key site/one.key --tls-ca site/ca.pem";
    ASSERT_EQ(sh("orvkit phantom set --size 32 --series 1 --images 3").status, 0);
    ArchiveTest::begin("--archive" + tls);
    const Outcome run = sh("tls='" + tls + " '; at=" + std::to_string(freePort()) + "; peer=" + peer() + R"(
for i in {1..50}; do
  orvkit send $peer set --commit --commit-port $at $tls >said & sender=$!
  while kill -0 $sender 2>/dev/null; do orvkit echo A@127.0.0.1:$at $tls >/dev/null 2>&1 && heard=yes; done
  wait $sender || exit 2
  [ -z "$heard" ] || break
done
echo $heard; tail -1 said; orvkit send $peer set --commit --commit-port $at --tls --tls-ca site/ca.pem; echo $?)");
    EXPECT_EQ(run.out, "yes\n3 committed, 0 not\n2\n") << run.err << log();
}

// The reports on an association: for each its type and how many references of either kind it has.
struct Heard {
    unsigned int type;
    std::size_t references, failed;
    bool operator==(const Heard&) const = default;
};
Heard heard(RawPeer& raw) {
    Bytes all;
    for (Bytes each = raw.hear(); !each.empty(); each = raw.hear()) {
        append(all, {each.begin() + 12, each.end()});
        if ((each[11] & 3) == 2) break;
    }
    const auto count = [&all](const Bytes& head) {
        std::size_t found = 0;
        for (auto at = all.begin(); (at = std::search(at, all.end(), head.begin(), head.end())) != all.end();
             ++at)
            ++found;
        return found;
    };
    const Bytes type{0, 0, 2, 0x10, 2, 0, 0, 0};
    const auto at = std::search(all.begin(), all.end(), type.begin(), type.end());
    const unsigned int event = all.end() - at < 10 ? 0 : at[8];
    return {event, count({8, 0, 0x55, 0x11}), count({8, 0, 0x97, 0x11})};
}

TEST_F(CommitmentTest, ManyReferencesAndATransactionInUseAreReportedOnTheAssociationThatAsked) {
    begin("--archive --log-json events --metrics counts");
    RawPeer raw(port);
    ASSERT_TRUE(raw.associate(kPush));
    ASSERT_TRUE(raw.say(action(dataset("1.2", many(3000)))));
    EXPECT_EQ(statusIn(raw.hear()), 0u);
    // The same transaction before the first one is reported.
    ASSERT_TRUE(raw.say(action(dataset("1.2", itemsFor({kStored})))));
    EXPECT_EQ(statusIn(raw.hear()), 0u);
    EXPECT_EQ(heard(raw), (Heard{1, 3000, 0}));
    Stream rest(UID_LITTLE_ENDIAN_IMPLICIT);
    rest.us(0x00000100, 0x8100).us(0x00000120, 1).us(0x00000800, 0x0101).us(0x00000900, 0);
    ASSERT_TRUE(raw.say(command(rest)));
    EXPECT_EQ(heard(raw), (Heard{2, 1, 1}));
    EXPECT_TRUE(holds(log(), "(3000 committed, 0 not) reported"));
    // Nobody knows where this peer listens.
    raw.reset();
    EXPECT_TRUE(logs("is not reported, and not tried again: nobody knows where ME listens"));
    EXPECT_EQ(stop(), 0);
    const Outcome told = sh(R"(grep -ho '^orvkit_comm.*\|"objects":[0-9]*,"result.*' counts events)");
    EXPECT_EQ(told.out,
              "orvkit_commitments_total 2\norvkit_commitments_refused_total 0\n"
              "orvkit_commitment_reports_total 1\norvkit_commitment_reports_failed_total 1\n"
              "\"objects\":3000,\"result\":\"commitment asked for, status 0x0000 (success)\"}\n"
              "\"objects\":1,\"result\":\"commitment asked for, status 0x0000 (success)\"}\n"
              "\"objects\":3000,\"result\":\"commitment 1.2 of ME (3000 committed, 0 not) reported\"}\n"
              "\"objects\":1,\"result\":\"commitment 1.2 of ME (0 committed, 1 not) is not reported, and not "
              "tried again: nobody knows where ME listens (--destination, --peers)\"}\n");
}

TEST_F(CommitmentTest, AReportIsTriedAgainOnAnAssociationWhoseOpenerProposesToBeTheProvider) {
    const int listens = freePort();
    begin("--archive --destination ME=127.0.0.1:" + std::to_string(listens));
    must("rm $(find in -name " + std::string(kLost) + ".dcm)");
    // Asked for again while the first report waits.
    for (const char* const last : {"1.2.3.5", "1.2.3"}) {
        RawPeer raw(port);
        ASSERT_TRUE(raw.associate(kPush));
        ASSERT_TRUE(raw.say(action(dataset("1.2.3.4", itemsFor({kStored, kLost, last})))));
        EXPECT_EQ(statusIn(raw.hear()), 0u);
        raw.reset();
        ASSERT_TRUE(logs("is not reported yet: cannot connect")) << log();
    }
    DcMsm peer("ME", TSM_ROLE_SCP, listens);
    DICT_UID plain[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_NONE};
    DcMsmSopXferSyn support[] = {{UID_STORAGE_COMMITMENT_PUSH_CLASS, plain, TSM_ROLE_SCP_SCU}, {}};
    DcMsmScpInfo info;
    info.sopList = support;
    info.timeouts.connectTimeout = 30;
    ASSERT_EQ(peer.connect(info, MSM_BLOCK_CONNECT_POLL), 0);
    ASSERT_EQ(peer.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL), MSM_REQUEST_ANSWERED);
    DcMsmAssoInfo asso;
    (void)peer.getAssoInfo(asso);
    EXPECT_EQ(asso.role[0], TSM_ROLE_SCP);
    DcMsg* message = nullptr;
    ASSERT_EQ(peer.receiveMessage(nullptr, &message, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL),
              MSM_MESSAGE);
    const std::unique_ptr<DcMsg> report(message);
    ASSERT_EQ(report->getType(), DICT_MSG_N_EVENT_RQ);
    unsigned short type = 0;
    char text[65] = "";
    (void)report->getValue(T_0000_1002_eventTypeId, type);
    (void)report->getValue(T_0008_1195_transactionUid, text, 64);
    EXPECT_EQ(type, 2);
    EXPECT_STREQ(text, "1.2.3.4");
    DcElemSq* failed = nullptr;
    ASSERT_EQ(report->getElem(T_0008_1198_failedSopSequence, &failed), 0);
    for (DcElemSqItem* item = failed->first(); item != nullptr; item = item->next()) {
        unsigned short reason = 0;
        (void)item->getElemList().getValue(T_0008_1197_failureReason, reason);
        EXPECT_EQ(reason, 0x0112);
    }
    DcCmdNEventRsp response(static_cast<DcCmdNEventRq*>(report.get()));
    (void)response.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
    EXPECT_EQ(peer.write(UID_STORAGE_COMMITMENT_PUSH_CLASS, &response), 0);
    EXPECT_EQ(peer.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL),
              MSM_RELEASE_REQUESTED);
    EXPECT_TRUE(logs("(1 committed, 2 not) reported"));
}

}  // namespace
}  // namespace tools_test
