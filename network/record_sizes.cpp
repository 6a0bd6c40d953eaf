// The records that applications hold by value and that hold no pointer have the same size in every build:
// 32-bit applications rely on it.
#include "orvkit/dict.h"
#include "orvkit/log.h"
#include "orvkit/msm.h"
#include "orvkit/value.h"

namespace {

// 8-byte numbers are aligned to 8 but on 32-bit Unix.
struct Aligned {
    int before;
    double number;
};
constexpr unsigned int kGap = sizeof(Aligned) - sizeof(int) - sizeof(double);

}  // namespace

static_assert(sizeof(DICT_VR) == 4 && sizeof(DICT_UID) == 4 && sizeof(LOG_MSG) == 4 && sizeof(TSM_ROLE) == 4);
static_assert(sizeof(DcElemValueAS) == 8);
static_assert(sizeof(DcElemValueAT) == 4);
static_assert(sizeof(DcElemValueDA) == 20);
static_assert(sizeof(DcElemValueDT) == 92 + kGap);
static_assert(sizeof(DcElemValuePN) == 332);
static_assert(sizeof(DcElemValueTM) == 72);
static_assert(sizeof(DcDictElemInfo) == 80 && sizeof(DcDictUidInfo) == 136);
static_assert(sizeof(DcTsmTimeoutInfo) == 12 && sizeof(DcPduInfo) == 12 && sizeof(DcPduInfoTf) == 12);
static_assert(sizeof(DcPduInfoAcRq) == 188 && sizeof(DcPduInfoRj) == 12 && sizeof(DcPduInfoAbort) == 8);
static_assert(sizeof(DcMsmSopXferSyn) == 4 * (3 + MSM_XFER_SYN_MAX));
