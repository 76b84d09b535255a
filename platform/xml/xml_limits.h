// Hard limits of the XML reader. The reader takes text from the network (the
// Elements argument of CreateObject) and from the description files, so every
// dimension that costs stack or heap is capped here. Input beyond a limit is
// refused as malformed; it never overflows the stack or exhausts memory.
#ifndef DMS_PLATFORM_XML_XML_LIMITS_H
#define DMS_PLATFORM_XML_XML_LIMITS_H

#include <cstddef>

// Largest text accepted, in bytes. The device description is about 2 KiB and
// a CreateObject Elements argument far smaller; 1 MiB leaves ample margin.
constexpr size_t kXmlMaxInputBytes = 1024 * 1024;

// Deepest element nesting accepted (the document element is level 1). The
// parser descends recursively, one frame per level; DIDL-Lite needs 3 levels
// and the device description 5.
constexpr int kXmlMaxDepth = 64;

// Most nodes (elements, text runs and attributes together) in one document.
// Bounds the heap a single small but dense input can claim.
constexpr size_t kXmlMaxNodes = 16384;

// Most attributes on one element. Duplicate names are looked for linearly,
// so this also bounds the work per start tag; a DIDL-Lite res has about ten.
constexpr size_t kXmlMaxAttributesPerElement = 128;

#endif  // DMS_PLATFORM_XML_XML_LIMITS_H
