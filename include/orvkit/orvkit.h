// The whole interface of the library.
#ifndef ORVKIT_ORVKIT_H
#define ORVKIT_ORVKIT_H

#include "orvkit/buf.h"
#include "orvkit/charset.h"
#include "orvkit/cmd.h"
#include "orvkit/datatf.h"
#include "orvkit/dicomdir.h"
#include "orvkit/dict.h"
#include "orvkit/dirrec.h"
#include "orvkit/edition.h"
#include "orvkit/elem.h"
#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/file.h"
#include "orvkit/keywords.h"
#include "orvkit/list.h"
#include "orvkit/log.h"
#include "orvkit/lzw.h"
#include "orvkit/mediamgr.h"
#include "orvkit/msm.h"
#include "orvkit/pdu.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "orvkit/tsm.h"
#include "orvkit/tul.h"
#include "orvkit/uids.h"
#include "orvkit/util.h"
#include "orvkit/value.h"

#endif
