// Img1G4Tile construction and the exchange of change lists between rows.
#include "Image/g4/Img1G4Tile.h"

#include <utility>

Img1G4Tile::Img1G4Tile(unsigned char *, unsigned int, unsigned int)
    : data_(nullptr),
      byteCount_(0),
      changes_(nullptr),
      numChanges_(0),
      refChanges_(nullptr),
      numRefChanges_(0),
      byteLoc_(0),
      bitLoc_(0),
      xOffset_(0),
      yOffset_(0) {}

Img1G4Tile::~Img1G4Tile() = default;

void Img1G4Tile::swapChanges() {
  std::swap(changes_, refChanges_);
  std::swap(numChanges_, numRefChanges_);
}
