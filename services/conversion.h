// A data set as it is to be in another transfer syntax or character set, without loss or not at all.
#ifndef ORVKIT_SERVICES_CONVERSION_H
#define ORVKIT_SERVICES_CONVERSION_H

#include <memory>
#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "platform/new_file.h"
#include "services/transcode.h"

namespace services {

struct ConversionRequest {
    std::string in;
    std::string beside;          // temporary files are made beside this one, which need not exist
    DICT_UID target = UID_NONE;  // the transfer syntax; UID_NONE: as it is
    TranscodeRequest frames;     // how frames are packed, where the target is a syntax of theirs
    bool force = false;          // also what is no Part 10 file by the letter
    bool metaFromDataset = false;
    bool utf8 = false;
    // Unless empty, what the header names, whatever it did.
    DICT_UID sopClass = UID_NONE;
    std::string instance;
};

// The names of the targets that this build has; and what is asked for by one of them.
std::vector<std::string> targetNames();
// Of a target that this build is without, what it needs; "" for any other name.
std::string whyNoTarget(const std::string& name);
void chooseTarget(const std::string& name, ConversionRequest& request);
// Whether pictures are not the same afterwards; JPEG repacked is.
bool losesSomething(const DcImageCodec& codec);

// Words that are signed or not by Pixel Representation (0028,0103), such as Pixel Padding Value: an implicit
// stream leaves that to the reader, an explicit one says it. `isSigned`: where nothing tells.
void settleSignedWords(DcElemList& list, bool isSigned);

// Whether data sets of a transfer syntax can be brought to every uncompressed one.
bool isConvertible(DICT_UID xferSyn);
// Whether this build unpacks its frames.
bool hasDecoder(DICT_UID xferSyn);

// One conversion. The pixel data stays in its file and is copied from there to the new one, its byte order
// changed on the way; to and from the packed syntax it goes through a file without a name.
class Conversion {
  public:
    explicit Conversion(const ConversionRequest& request) : request_(request), target_(request.target) {}

    // Reads the file and changes what is to be changed. False: fault() tells why.
    [[nodiscard]] bool prepare();
    // 0, or the code of dirWriteFile.
    [[nodiscard]] int write(const std::string& path);

    // What is to be told of the file, a line each, and why it is not converted.
    const std::vector<std::string>& notes() const { return notes_; }
    const std::string& fault() const { return fault_; }
    // What the new file will be named by, and whether it has pixels that can be packed.
    const char* instance() const { return meta_.sopInstanceUid; }
    bool hasPixels();
    // The file is no Part 10 file at all.
    bool isOther() const { return isOther_; }

  private:
    bool fail(const std::string& why) {
        fault_ = why;
        return false;
    }

    // Every step answers whether to go on.
    // ---- reading ----
    bool readMeta();
    bool failUnknownSyntax();
    bool readDataset();
    bool settleHeader(DcElemList& group);
    void registerUnknownClass(DcElemList& group);
    bool pixelsCanChange();
    bool parsed(int result, int replaced);
    static void takeFault(void* context, const DcElemFault& fault);

    // ---- changing ----
    bool recode();
    bool changePixels();
    bool transcodeFrames();
    bool unpackLzw();
    bool packLzw();
    bool reencodeExplicit();
    bool exchange(DcElem* old, DICT_VR vr, DcBuf& value);

    const ConversionRequest& request_;
    DICT_UID target_;
    DICT_UID source_ = UID_NONE;
    orvkit::platform::ScratchFile unpacked_;  // in front of the data sets that refer to them
    orvkit::platform::ScratchFile packed_;
    orvkit::platform::ScratchFile transcoded_;
    DcDirMetaInfo meta_;
    DcElemList dataset_;
    std::unique_ptr<DcElemList> reencoded_;  // stands for dataset_ once it is there
    DcDirAround around_;
    DcDirFound found_;
    int faults_ = 0;
    std::vector<std::string> notes_;
    std::string fault_;
    bool isOther_ = false;

    DcElemList& dataset() { return reencoded_ ? *reencoded_ : dataset_; }
};

}  // namespace services

#endif
