// Img1G4Tile: one Group 4 coded tile and the position at which its next row starts.
// CImg1G4 keeps one per tile; CCITT_G4Decode reads the bytes and moves the position.
#ifndef IMAGE_G4_IMG1G4TILE_H_
#define IMAGE_G4_IMG1G4TILE_H_

#include <cstdint>

#include "Image/core/ImgExport.h"

class C2D_EXPORT Img1G4Tile {
 public:
  // The arguments are ignored. Every member starts at zero so that nothing is
  // indeterminate; the owner sets the data and the position before decoding.
  Img1G4Tile(unsigned char *data = nullptr, unsigned int byteCount = 0, unsigned int unused = 0);
  Img1G4Tile(const Img1G4Tile &) = default;
  Img1G4Tile &operator=(const Img1G4Tile &) = default;
  // Frees nothing: the coded bytes belong to the image, the change buffers to whoever
  // set them.
  virtual ~Img1G4Tile();

  // The coded bytes, read by the decoder as 16-bit little-endian words; null when the
  // tile has none. Not owned by the tile.
  unsigned char *getData() const { return data_; }
  unsigned int &getByteCount() { return byteCount_; }

  // The change list being decoded and the previous row's list (the reference line).
  // Each buffer must hold the tile width + 6 entries. Not owned by the tile.
  int32_t *changes() const { return changes_; }
  unsigned int &numChanges() { return numChanges_; }
  int32_t *refChanges() const { return refChanges_; }
  unsigned int &numRefChanges() { return numRefChanges_; }

  // Position of the next unread bit: the byte in stream order and the bit in it,
  // 1 being the most significant.
  unsigned int &byteLoc() { return byteLoc_; }
  unsigned int &bitLoc() { return bitLoc_; }

  unsigned int &getXOffset() { return xOffset_; }
  unsigned int &getYOffset() { return yOffset_; }

  // Setters for the owner of the tile. Nothing is copied or freed.
  void setData(unsigned char *data, unsigned int byteCount) {
    data_ = data;
    byteCount_ = byteCount;
  }
  void setChangeBuffers(int32_t *changes, int32_t *refChanges) {
    changes_ = changes;
    refChanges_ = refChanges;
  }
  // The decoded row becomes the reference line of the next; the caller does this after
  // each successful row.
  void swapChanges();

 private:
  unsigned char *data_;
  unsigned int byteCount_;
  int32_t *changes_;
  unsigned int numChanges_;
  int32_t *refChanges_;
  unsigned int numRefChanges_;
  unsigned int byteLoc_;
  unsigned int bitLoc_;
  unsigned int xOffset_;
  unsigned int yOffset_;
};

#endif  // IMAGE_G4_IMG1G4TILE_H_
