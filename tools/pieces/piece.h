// A piece of a picture: a render of some of its frames whose sums go to a partial file.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"
#include "pieces/partial_file.h"

#include <optional>

namespace mh {

bool is_piece(const Arguments& arguments);

// Of a piece, or of photons alone.
bool writes_no_pictures(const Arguments& arguments);

// Why options do not go together, or empty.
std::string PieceOptionsFault(const Arguments& arguments);

// Where neither scene nor option gives a seed, picks one and says so.
void PickSeed();

// Limits the run to the frames asked for; all without --frames. Empty, or why not.
std::string LimitToFrames(const Arguments& arguments);

// Of the scene as it stands before the first frame, with its files read.
PieceHeader HeaderOfPiece(const Arguments& arguments, const PixelRegion& region_of_scene);

// The words for what the piece holds: "frames 0 to 3 of 64".
std::string FramesText(const PieceHeader& header);

// Whether the file holds this piece already, whole.
bool HoldsPiece(const std::string& path, const PieceHeader& header);

// The sums as they stand. Empty on success, else why not.
std::string WritePiece(const std::string& path, const PieceHeader& header);

} // namespace mh
