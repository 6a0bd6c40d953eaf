// DcTul: the upper layer. It turns requests and received PDUs into events of the state machine, and puts the
// fragments of a command or a data set together (PS3.8 9, annex E).
#ifndef ORVKIT_TUL_H
#define ORVKIT_TUL_H

#include "orvkit/datatf.h"
#include "orvkit/export.h"
#include "orvkit/tsm.h"

// Receives the bytes of Pixel Data as they arrive; the result is ignored.
typedef int (*DcTulPixDataCB)(void* user, unsigned char* data, unsigned int length, DICT_UID xferSyn);
// Called once for a data set, when its Pixel Data is found, with the elements in front of it. `presCtxId`
// points at the message's presentation context ID. A result other than 0 ends the reception: it is logged,
// and DcMsm::read closes the association with 11355.
typedef int (*DcMsmPixRecvCB)(void* user, DcElemList& elements, DICT_UID xferSyn,
                              unsigned char* const presCtxId);
// Receives the encoded data set itself, fragment by fragment; `last` is not 0 with the last one. A result
// other than 0 ends the reception as above.
typedef int (*DcTulDataSetCB)(void* user, const unsigned char* data, unsigned int length, DICT_UID xferSyn,
                              int last);
// Gives room for the next piece of a data set, and its size in bytes, so that the application need not copy
// what it receives: the callback above then gets its bytes there. Null: they come in a buffer of the
// library's, 64 KiB at most, that is used again for the next ones. Bytes that came in one PDU with the
// command have a buffer of their own.
typedef unsigned char* (*DcTulRoomCB)(void* user, unsigned int* size);

class ORVKIT_API DcTul : public DcTsm {
  public:
    DcTul(TSM_ROLE role, int port);
    DcTul(const DcTul&) = default;
    DcTul& operator=(const DcTul&) = default;
    ~DcTul() override;

    int setArtimTimeout(int seconds);  // 16899 below 1
    void setState(TSM_STATE state) { state_ = state; }
    int getDecodingFlag() const { return decodingFlag_; }
    int setDecodingFlag(int flag);

    // Where the pixel bytes of received data sets go, until changed: appended to the file, written to a
    // duplicate of the handle, or both. The data set's Pixel Data then refers to them there. A handle of -1
    // and a null name end it.
    int setPixelDataHandle(int handle);          // 16911
    int getPixelDataHandle(int& handle) const;   // the duplicate; -1 when none
    int setPixelDataFileName(const char* path);  // 16914

    // Each takes null to end it. Always 0.
    int registerValueExceptionCB(void* user, DcElemValueExceptionCB callback);
    int registerPixDataCB(void* user, DcTulPixDataCB callback);
    int registerPixRecvCB(void* user, DcMsmPixRecvCB callback);
    // While set, the bytes of data sets go to the callback alone, and received data sets are empty: an object
    // of any size passes through without being held in memory. `room` may be null. What is registered within
    // a callback takes over with the next piece; null drops the rest of the data set.
    int registerDataSetCB(void* user, DcTulDataSetCB callback, DcTulRoomCB room = nullptr);

  protected:
    // 16901 without the user role, 16902 without the provider role, or the result of the step.
    int event00_connectScu(const char* host, int port);
    int event01_writeAssoRqPdu(DcPduAssoRq* pdu);
    int event04_connectScp();
    int event06_writeAssoAcPdu(DcPduAssoAc* pdu);
    int event07_writeAssoRjPdu(DcPduAssoRj* pdu);
    int event08_writeDataTfPdu(DcPduDataTf* pdu);
    int event10_writeRelRqPdu();
    int event13_writeRelRpPdu();
    int event14_writeAbortPdu();
    int event16_closeTrans();
    int event17_artimExpired();

    // The next PDU, which the caller deletes; P-DATA-TF PDUs are put together to a whole command or data set
    // and decoded. The arrays of PDU_PRES_CTX_MAX are the accepted contexts and their transfer syntaxes. 0
    // without a PDU: none arrived, or it was dealt with. 16898 no connection, 16907 refused, 5670, 5671,
    // 14854, 14856, and the outcomes 16465 to 16469.
    int readNextPdu(DcPdu** pdu, unsigned char* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block);

    static void artimExpiredCB(unsigned int timer, unsigned int message, std::uintptr_t user,
                               std::uintptr_t reserved1, std::uintptr_t reserved2);

  private:
    struct Part;  // the command or data set being put together
    class Sink;   // hands the bytes of data sets to their callback

    int readPduDataTf(DcPduDataTf* message, DICT_UID xferSyn, PDU_BLOCK block);
    int processPduDataTf(Part& part, DcPduDataTf* latest);
    int checkProgress(Part& part, DcPduDataTf& latest) const;
    int takeFragment(Part& part, DcPduDataTf& latest);
    int toCallback(const unsigned char* data, unsigned int length, DICT_UID xferSyn, bool last);
    int findPixelData(Part& part);
    int divert(Part& part, const unsigned char* data, unsigned int length);
    int finishPixels(Part& part);
    DcPdu* newPdu(PDU_TYPE type);
    void carry(DcPduDataTf& pdu);
    DcPdu* takeCarried();
    void discardArrived();

    DcPduDataTf* carried_ = nullptr;  // owned: the data behind a command in its PDU
    Sink* sink_ = nullptr;            // owned; with a data set callback
    int artimTimeout_ = 30;
    int decodingFlag_ = 0;
    int pixelHandle_ = -1;           // owned
    char* pixelFileName_ = nullptr;  // owned
    void* exceptionUser_ = nullptr;
    DcElemValueExceptionCB exceptionCB_ = nullptr;
    void* pixDataUser_ = nullptr;
    DcTulPixDataCB pixDataCB_ = nullptr;
    void* pixRecvUser_ = nullptr;
    DcMsmPixRecvCB pixRecvCB_ = nullptr;
    void* dataSetUser_ = nullptr;
    DcTulDataSetCB dataSetCB_ = nullptr;
    DcTulRoomCB roomCB_ = nullptr;
    bool callbackEnded_ = false;  // a callback of the application's ended the reception
};

#endif
