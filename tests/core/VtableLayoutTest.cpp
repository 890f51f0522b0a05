// Pins the exported virtual table. Under the Itanium C++ ABI a pointer to a virtual
// member function holds 1 + the byte offset of its entry in the vtable, and the
// virtual destructor takes two entries (complete and deleting). A reordered,
// inserted or removed operation fails here. This binary links the shared library,
// so it also proves that the classes it names are exported.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

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

// Slot 0 is the destructor, which occupies entries 0 and 1; slot s >= 1 is entry s + 1.
std::ptrdiff_t EntryOfSlot(int slot) { return slot + 1; }

// Opens the protected slot 56 of CImg.
struct CImgSlots : CImg {
  static std::ptrdiff_t InitDataEntry() { return EntryIndex(&CImgSlots::initData); }
};
struct CImgEMFSlots : CImgEMF {
  static std::ptrdiff_t InitDataEntry() { return EntryIndex(&CImgEMFSlots::initData); }
};

TEST(VtableLayoutTest, IImgSlotsAreInExportedOrder) {
  const std::ptrdiff_t entries[] = {
      -1,  // destructor, not addressable
      EntryIndex(&IImg::getBitsPerSample),
      EntryIndex(&IImg::getSamplesPerPixel),
      EntryIndex(&IImg::getBitDepth),
      EntryIndex(&IImg::getBytesPerLine),
      EntryIndex(&IImg::getLastError),
      EntryIndex(&IImg::getHeight),
      EntryIndex(&IImg::getHeightInTiles),
      EntryIndex(&IImg::getTotalBytes),
      EntryIndex(&IImg::getNumberOfTiles),
      EntryIndex(&IImg::getRect),
      EntryIndex(&IImg::getTileHeight),
      EntryIndex(&IImg::getTileWidth),
      EntryIndex(&IImg::getType),
      EntryIndex(&IImg::getWidth),
      EntryIndex(&IImg::getWidthInTiles),
      EntryIndex(&IImg::getTop),
      EntryIndex(&IImg::getLeft),
      EntryIndex(&IImg::getBottom),
      EntryIndex(&IImg::getRight),
      EntryIndex(&IImg::getBackgroundColor),
      EntryIndex(&IImg::getBackgroundState),
      EntryIndex(&IImg::getSubImage),
      EntryIndex(static_cast<const IImg *(IImg::*)(const IntRect &) const>(&IImg::getSubRef)),
      EntryIndex(static_cast<IImg *(IImg::*)(const IntRect &)>(&IImg::getSubRef)),
      EntryIndex(&IImg::getUnformatted),
      EntryIndex(&IImg::hasData),
      EntryIndex(&IImg::forceDataInit),
      EntryIndex(&IImg::applyFilter),
      EntryIndex(&IImg::invert),
      EntryIndex(&IImg::composite),
      EntryIndex(static_cast<IImg *(IImg::*)(RasOp, bool, unsigned, unsigned)>(&IImg::doRasOp)),
      EntryIndex(static_cast<IImg *(IImg::*)(RasOp, RasOpXfmAttr &, const IImg &)>(&IImg::doRasOp)),
      EntryIndex(
          static_cast<void (IImg::*)(RasOp, bool, unsigned, unsigned)>(&IImg::doRasOpInPlace)),
      EntryIndex(
          static_cast<void (IImg::*)(RasOp, RasOpXfmAttr &, const IImg &)>(&IImg::doRasOpInPlace)),
      EntryIndex(&IImg::clone),
      EntryIndex(&IImg::drawArc),
      EntryIndex(&IImg::drawCircle),
      EntryIndex(&IImg::drawElipse),
      EntryIndex(&IImg::drawLines),
      EntryIndex(&IImg::drawPixel),
      EntryIndex(&IImg::drawPolyLine),
      EntryIndex(&IImg::drawPolygon),
      EntryIndex(&IImg::DrawFilledRectangle),
      EntryIndex(&IImg::drawSpline),
      EntryIndex(&IImg::mirror),
      EntryIndex(&IImg::mirrorThis),
      EntryIndex(&IImg::rotate),
      EntryIndex(static_cast<IImg *(IImg::*)(double, ImgScaleAttr &)>(&IImg::scale)),
      EntryIndex(static_cast<IImg *(IImg::*)(const ImgRect &, const ImgRect &, ImgScaleAttr &)>(
          &IImg::scale)),
      EntryIndex(static_cast<IImg *(IImg::*)(const ImgRect &, unsigned, unsigned, ImgScaleAttr &)>(
          &IImg::scale)),
      EntryIndex(&IImg::stream),
      EntryIndex(&IImg::sxfm),
      EntryIndex(&IImg::writeTIFF),
      EntryIndex(&IImg::writePPM),
  };
  static_assert(sizeof(entries) / sizeof(entries[0]) == 55, "IImg has 55 slots");
  for (int slot = 1; slot < 55; ++slot) {
    EXPECT_EQ(entries[slot], EntryOfSlot(slot)) << "slot " << slot;
  }
}

TEST(VtableLayoutTest, CImgAddsTwoSlots) {
  EXPECT_EQ(EntryIndex(&CImg::isBackgroundKnown), EntryOfSlot(55));
  EXPECT_EQ(CImgSlots::InitDataEntry(), EntryOfSlot(56));
}

TEST(VtableLayoutTest, ConcreteClassesAddNoSlotsInBetween) {
  // An override keeps its base slot; a class that added a virtual operation ahead
  // of the inherited ones would move them.
  EXPECT_EQ(EntryIndex(
                static_cast<IImg *(CImg32::*)(const ImgRect &, unsigned, unsigned, ImgScaleAttr &)>(
                    &CImg32::scale)),
            EntryOfSlot(50));
  EXPECT_EQ(EntryIndex(&CImg32::writePPM), EntryOfSlot(54));
  EXPECT_EQ(EntryIndex(&CImg32::isBackgroundKnown), EntryOfSlot(55));
  EXPECT_EQ(EntryIndex(&CImgEMF::getBackgroundColor), EntryOfSlot(20));
  EXPECT_EQ(EntryIndex(&CImgEMF::getUnformatted), EntryOfSlot(25));
  EXPECT_EQ(EntryIndex(&CImgEMF::DrawFilledRectangle), EntryOfSlot(43));
  EXPECT_EQ(
      EntryIndex(
          static_cast<IImg *(CImgEMF::*)(const ImgRect &, unsigned, unsigned, ImgScaleAttr &)>(
              &CImgEMF::scale)),
      EntryOfSlot(50));
  EXPECT_EQ(EntryIndex(&CImgEMF::writeTIFF), EntryOfSlot(53));
  EXPECT_EQ(EntryIndex(&CImgEMF::isBackgroundKnown), EntryOfSlot(55));
  EXPECT_EQ(CImgEMFSlots::InitDataEntry(), EntryOfSlot(56));
}

TEST(VtableLayoutTest, CImgPDFFillsTheInheritedSlots) {
  using Scale = IImg *(CImgPDF::*)(const ImgRect &, unsigned, unsigned, ImgScaleAttr &);
  EXPECT_EQ(EntryIndex(&CImgPDF::getBackgroundColor), EntryOfSlot(20));
  EXPECT_EQ(EntryIndex(&CImgPDF::getSubImage), EntryOfSlot(22));
  EXPECT_EQ(EntryIndex(&CImgPDF::getUnformatted), EntryOfSlot(25));
  EXPECT_EQ(EntryIndex(&CImgPDF::DrawFilledRectangle), EntryOfSlot(43));
  EXPECT_EQ(EntryIndex(static_cast<Scale>(&CImgPDF::scale)), EntryOfSlot(50));
  EXPECT_EQ(EntryIndex(&CImgPDF::writeTIFF), EntryOfSlot(53));
  EXPECT_EQ(EntryIndex(&CImgPDF::isBackgroundKnown), EntryOfSlot(55));
  char missing[] = "/nonexistent/page.pdf";
  EXPECT_EQ(CImgPDF::create(missing, 1, false), nullptr);
  EXPECT_EQ(CImgErr::get(), IMG_FAIL);
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
}

}  // namespace
