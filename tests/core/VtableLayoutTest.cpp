// Pins the exported virtual table (Itanium: a virtual member pointer holds 1 + its entry's
// byte offset). This binary links the shared library, so the classes must be exported.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "Image/Core2DImage.h"

namespace {

using Core2DImage::IntRect;
using Core2DImage::RasOpEnum::RasOp;

template <typename MemberFn>
std::ptrdiff_t EntryIndex(MemberFn fn) {
  static_assert(sizeof(MemberFn) == 2 * sizeof(std::ptrdiff_t), "Itanium layout expected");
  std::ptrdiff_t raw = 0;
  std::memcpy(&raw, &fn, sizeof raw);
  EXPECT_EQ(raw & 1, 1) << "not a virtual member function";
  return (raw - 1) / static_cast<std::ptrdiff_t>(sizeof(void *));
}

template <typename... MemberFn>
std::vector<std::ptrdiff_t> EntryIndices(MemberFn... fns) {
  return {EntryIndex(fns)...};
}

// Opens the protected slot 56 of class C.
template <typename C>
struct Opened : C {
  static std::ptrdiff_t InitDataEntry() {
    return EntryIndex(static_cast<ImgErr (C::*)()>(&Opened::initData));
  }
};

// Every slot of the interface as class C names it, then the two CImg adds.
template <typename C>
void ExpectEverySlotInOrder(const char *name) {
  SCOPED_TRACE(name);
  std::vector<std::ptrdiff_t> entries = EntryIndices(
      &C::getBitsPerSample, &C::getSamplesPerPixel, &C::getBitDepth, &C::getBytesPerLine,
      &C::getLastError, &C::getHeight, &C::getHeightInTiles, &C::getTotalBytes,
      &C::getNumberOfTiles, &C::getRect, &C::getTileHeight, &C::getTileWidth, &C::getType,
      &C::getWidth, &C::getWidthInTiles, &C::getTop, &C::getLeft, &C::getBottom, &C::getRight,
      &C::getBackgroundColor, &C::getBackgroundState, &C::getSubImage,
      static_cast<const IImg *(C::*)(const IntRect &) const>(&C::getSubRef),
      static_cast<IImg *(C::*)(const IntRect &)>(&C::getSubRef), &C::getUnformatted, &C::hasData,
      &C::forceDataInit, &C::applyFilter, &C::invert, &C::composite,
      static_cast<IImg *(C::*)(RasOp, bool, unsigned, unsigned)>(&C::doRasOp),
      static_cast<IImg *(C::*)(RasOp, RasOpXfmAttr &, const IImg &)>(&C::doRasOp),
      static_cast<void (C::*)(RasOp, bool, unsigned, unsigned)>(&C::doRasOpInPlace),
      static_cast<void (C::*)(RasOp, RasOpXfmAttr &, const IImg &)>(&C::doRasOpInPlace), &C::clone,
      &C::drawArc, &C::drawCircle, &C::drawElipse, &C::drawLines, &C::drawPixel, &C::drawPolyLine,
      &C::drawPolygon, &C::DrawFilledRectangle, &C::drawSpline, &C::mirror, &C::mirrorThis,
      &C::rotate, static_cast<IImg *(C::*)(double, ImgScaleAttr &)>(&C::scale),
      static_cast<IImg *(C::*)(const ImgRect &, const ImgRect &, ImgScaleAttr &)>(&C::scale),
      static_cast<IImg *(C::*)(const ImgRect &, unsigned, unsigned, ImgScaleAttr &)>(&C::scale),
      &C::stream, &C::sxfm, &C::writeTIFF, &C::writePPM);
  if constexpr (std::is_base_of_v<CImg, C>) {
    entries.push_back(EntryIndex(&C::isBackgroundKnown));
    entries.push_back(Opened<C>::InitDataEntry());
  }
  for (size_t i = 0; i < entries.size(); ++i) {
    // Slot 0 is the destructor, in entries 0 and 1; slot s >= 1 is entry s + 1.
    EXPECT_EQ(entries[i], static_cast<std::ptrdiff_t>(i) + 2) << "slot " << i + 1;
  }
}

TEST(VtableLayoutTest, EveryClassKeepsEverySlotInExportedOrder) {
  ExpectEverySlotInOrder<IImg>("IImg");
  ExpectEverySlotInOrder<CImg>("CImg");
  ExpectEverySlotInOrder<CImg1>("CImg1");
  ExpectEverySlotInOrder<CImg8>("CImg8");
  ExpectEverySlotInOrder<CImg32>("CImg32");
  ExpectEverySlotInOrder<CImg1G4>("CImg1G4");
  ExpectEverySlotInOrder<CImgEMF>("CImgEMF");
  ExpectEverySlotInOrder<CImgPDF>("CImgPDF");
}

TEST(VtableLayoutTest, ExportedClassesWorkThroughTheSharedLibrary) {
  CImg32 *image = CImg32::create(4, 4, RGB_ORDER_BGR);
  ASSERT_NE(image, nullptr);
  IImg *asInterface = image;
  EXPECT_EQ(asInterface->getBitDepth(), 32u);
  EXPECT_EQ(ImgRect(IntRect(-1, 0, 2, 3)).getRight(), 4u);
  EXPECT_EQ(CImg32::create(0, 1, RGB_ORDER_BGR), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  CImgTile tile;
  EXPECT_EQ(tile.rect, ImgRect());
  ColorMap map(4, 255);
  EXPECT_EQ(map.numEntries, 4);
  EXPECT_EQ(utl_is_little_endian(), 1);
  void *p = image;
  EXPECT_TRUE(DeleteImageVoidPtr(p));
  EXPECT_EQ(CImgEMF::create(nullptr), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
  char missing[] = "/nonexistent/page.pdf";
  EXPECT_EQ(CImgPDF::create(missing, 1, false), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
}

}  // namespace
