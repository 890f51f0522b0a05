// A batch of tiles coded by createG4Tile, for hosts' tools and tests. Internal: the
// library itself never calls it.
#ifndef IMAGE_G4_INTERNAL_G4TILEBATCH_H_
#define IMAGE_G4_INTERNAL_G4TILEBATCH_H_

// Codes `count` tiles of one size, sources[i] being tile i's rows. `sourceBytes` is
// only required to be there. On success `*outData` and `*outBytes` receive malloc'd
// arrays of `count` coded tiles (each malloc'd) and their byte counts, which the
// caller frees. False for a count of 0, a null pointer, or the first tile that
// createG4Tile refuses; nothing is then kept and the outputs are not touched.
bool createG4Tiles(unsigned int count, int width, int rows, int bytesPerRow,
                   unsigned char **sources, unsigned int *sourceBytes, unsigned char ***outData,
                   unsigned int **outBytes);

#endif  // IMAGE_G4_INTERNAL_G4TILEBATCH_H_
