// The whole receiving side: an association service as provider or as user, and what a peer sends to it before
// it closes its direction. The first byte picks the role and where data sets go. Bytes that do not begin with
// a request or its answer arrive on an association that is open already.
#include <memory>

#include "fuzz/target.h"
#include "orvkit/msm.h"
#include "orvkit/result.h"
#include "tests/support/socket_pair.h"

namespace {

using fuzz::require;

class Entity : public DcMsm {
  public:
    Entity(bool asUser, SocketPair& ends)
        : DcMsm("FUZZ", asUser ? TSM_ROLE_SCU : TSM_ROLE_NONE, 0), user_(asUser) {
        if (!asUser) role_ = TSM_ROLE_SCP;  // without a port of its own
        setAeTitleCheck(0);
        timeouts_.connectTimeout = timeouts_.readTimeout = 0;
        timeouts_.writeTimeout = 1;
        socket_ = ends.giveOurs();
    }
    // The result of opening; a user's is that of the answer.
    int open() {
        DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                               UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE, UID_NONE};
        DcMsmSopXferSyn list[] = {{UID_VERIFICATION, syntaxes}, {UID_CT_IMAGE_STORAGE, syntaxes}, {}};
        if (user_) {
            DcMsmScuInfo info;
            info.calledAeTitle = "PEER";
            info.sopList = list;
            info.timeouts = timeouts_;
            return connect(socket_, info);
        }
        DcMsmScpInfo info;
        info.sopList = list;
        info.timeouts = timeouts_;
        return connect(socket_, orvkit::platform::kNoSocket, info, MSM_BLOCK_CONNECT_POLL);
    }

  private:
    bool user_;
    unsigned int socket_ = orvkit::platform::kNoSocket;
};

// What a user proposes, and what a provider answers to it.
struct Opening {
    Opening() {
        {
            SocketPair ends;
            Entity user(true, ends);
            endSending(ends.peer());
            (void)user.open();
            request = ends.arrived();
        }
        SocketPair ends;
        Entity provider(false, ends);
        require(provider.open() == RESULT_OK);
        ends.send(request);
        require(provider.read(nullptr, nullptr, MSM_BLOCK_READ_POLL, MSM_BLOCK_CONNECT_POLL) ==
                MSM_REQUEST_ANSWERED);
        answer = ends.arrived();
    }
    std::vector<unsigned char> request, answer;
};

int takePixels(void*, unsigned char* data, unsigned int length, DICT_UID) {
    return length == 0 ? 0 : data[length - 1];
}
int takeFront(void*, DcElemList& elements, DICT_UID, unsigned char* const) {
    return elements.first() == nullptr ? 3 : 0;
}
int takeDataSet(void*, const unsigned char* data, unsigned int length, DICT_UID, int) {
    return length != 0 && data[length - 1] == 0xEE ? 5 : 0;
}
// Room of an odd size, now and then.
unsigned char* giveRoom(void* user, unsigned int* size) {
    auto& room = *static_cast<std::vector<unsigned char>*>(user);
    room.resize((room.size() + 7) % 80);
    *size = static_cast<unsigned int>(room.size());
    return room.empty() ? nullptr : room.data();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 65536) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    static const Opening opening;
    static const fuzz::MemoryFile pixels;
    const bool asUser = (data[0] & 1) != 0;
    const bool opened = bytes[0] != PDU_TYPE_ASSO_RQ && bytes[0] != PDU_TYPE_ASSO_AC;
    SocketPair ends;
    std::vector<unsigned char> room;
    Entity entity(asUser, ends);
    if ((data[0] & 2) != 0) {
        emptyMemoryFile(pixels.handle());
        (void)entity.setPixelDataFileName(pixels.path());
        (void)entity.setPixelDataHandle(pixels.handle());
        (void)entity.registerPixDataCB(nullptr, &takePixels);
        (void)entity.registerPixRecvCB(nullptr, &takeFront);
    } else if ((data[0] & 4) != 0) {
        (void)entity.registerDataSetCB(&room, &takeDataSet, (data[0] & 8) != 0 ? &giveRoom : nullptr);
    }
    if (opened) ends.send(asUser ? opening.answer : opening.request);
    ends.send(bytes);
    endSending(ends.peer());
    int result = entity.open();
    require(!opened || result == (asUser ? MSM_ACCEPTED : RESULT_OK));
    // Every round takes at least a PDU, which has more than five bytes.
    for (std::size_t rounds = 0; entity.isConnected(); ++rounds) {
        require(rounds < size);
        DcMsg* received = nullptr;
        result = entity.receiveMessage(nullptr, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        const std::unique_ptr<DcMsg> message(received);
        require((message != nullptr) == (result == MSM_MESSAGE || result == ELEM_REFUSED));
        if (message == nullptr && result != MSM_REQUEST_ANSWERED) break;
    }
    DcMsmAssoInfo info;
    (void)entity.getAssoInfo(info);
    require(info.assoNum >= 0 && info.assoNum <= MSM_SOP_MAX);
    require(entity.closeAssociation() == RESULT_OK && !entity.isConnected());
    return 0;
}
