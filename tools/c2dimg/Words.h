// What a user reads: plain words for the library's result codes and image classes,
// with the library's own names added under --verbose, and notes on what a command did
// that the user may not have expected.
#ifndef TOOLS_C2DIMG_WORDS_H_
#define TOOLS_C2DIMG_WORDS_H_

#include <string>

#include "Picture.h"

namespace c2dimg {

void SetVerbose(bool verbose);
bool Verbose();

// "not enough memory", and so on; "not enough memory [IMG_OUT_OF_MEMORY]" when verbose.
std::string CodeWords(ImgErr code);
// What kind of picture it is: "bilevel", "grey", "colour with alpha", ... with the
// library class that holds it when verbose. Looks at the pixels of a 32-bit image to
// tell grey from colour.
std::string KindWords(Picture &picture);
// One line on stderr, "c2dimg: note: ...".
void Note(const std::string &text);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_WORDS_H_
