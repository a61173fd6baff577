#pragma once

#include "platform/Result.h"
#include "toolkit/RichText.h"

#include <string>
#include <string_view>

// Rich Text Format, as far as notes need it: paragraphs, bold, italic, underlined and any Unicode text.
// docs/wrapper-format.md tells which words of the form are understood.
struct RtfText {
    toolkit::RichText text;
    // Whether the document says nothing beyond that. One that does must not be written back: fonts, colours,
    // pictures or tables would be lost.
    bool isWhole = true;

    // A sentence for what is no such document. Any thread.
    static platform::Result<RtfText> read(std::string_view document);
    static std::string write(const toolkit::RichText& text);
};
