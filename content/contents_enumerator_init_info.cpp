#include "contents_enumerator_init_info.h"

#include "dms_string.h"

ContentsEnumeratorInitInfo::ContentsEnumeratorInitInfo()
    : basePath_(nullptr), mediaKind_(0), third_(0) {}

ContentsEnumeratorInitInfo::ContentsEnumeratorInitInfo(DMSAppString* basePath,
                                                       unsigned int mediaKind, int third)
    : basePath_(basePath), mediaKind_(mediaKind), third_(third) {}

// Out of line: DMSAppString is complete only here.
ContentsEnumeratorInitInfo::~ContentsEnumeratorInitInfo() = default;
