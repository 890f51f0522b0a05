// TIFF orientation. The stored rows and columns are mapped onto the page with the
// library's exact right-angle turns and mirrors: a turn then a mirror covers all
// eight cases.
#include "Orientation.h"

#include <functional>
#include <string>
#include <utility>

#include "Library.h"

namespace c2dimg {
namespace {

struct Steps {
  double turn;     // counter-clockwise, 0 for none
  ImgMirT mirror;  // applied after the turn
  bool mirrored;
  const char *name;
};

// Indexed by orientation - 1. The names say where the first row and column lie.
const Steps kSteps[] = {
    {0, IMG_MIR_X, false, "top-left"},       {0, IMG_MIR_Y, true, "top-right"},
    {180, IMG_MIR_X, false, "bottom-right"}, {0, IMG_MIR_X, true, "bottom-left"},
    {90, IMG_MIR_X, true, "left-top"},       {270, IMG_MIR_X, false, "right-top"},
    {270, IMG_MIR_X, true, "right-bottom"},  {90, IMG_MIR_X, false, "left-bottom"},
};

void Apply(Picture &picture, const std::function<IImg *(IImg &)> &step) {
  // A bitmap's turns and mirrors keep its bits but not always its colours.
  uint32_t clearRgb = 0, setRgb = 0;
  const auto *before = dynamic_cast<CImg1 *>(picture.image.get());
  if (before != nullptr) {
    clearRgb = before->getBackgroundInterpretation();
    setRgb = before->getForegroundInterpretation();
  }
  Operation op(picture, "show it upright");
  op.finish(picture, step(*picture.image));
  if (auto *after = dynamic_cast<CImg1 *>(picture.image.get()); after && before) {
    after->setBackgroundInterpretation(clearRgb);
    after->setForegroundInterpretation(setRgb);
  }
}

}  // namespace

void ShowUpright(Picture &picture, uint16_t orientation) {
  if (orientation < 2 || orientation > 8) {
    return;
  }
  const Steps &steps = kSteps[orientation - 1];
  if (picture.image->getType() == IMG_TYPE_G4) {
    // The library's own transforms of a Group 4 page lose its last column.
    picture = ToBilevel(picture, false);
  }
  if (steps.turn != 0) {
    Apply(picture, [&](IImg &image) { return image.rotate(steps.turn); });
    if (steps.turn != 180) {
      std::swap(picture.dpiX, picture.dpiY);
    }
  }
  if (steps.mirrored) {
    Apply(picture, [&](IImg &image) { return image.mirror(steps.mirror); });
  }
  picture.origin += ", stored " + std::string(steps.name) + " (orientation " +
                    std::to_string(orientation) + "), shown upright";
}

}  // namespace c2dimg
