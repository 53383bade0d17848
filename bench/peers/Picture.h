#ifndef TAVIX_BENCH_PEERS_PICTURE_H
#define TAVIX_BENCH_PEERS_PICTURE_H

#include "Measure.h"

namespace Bench {

// Writes an SVG: for each row and peer a bar that goes from the floor's speed to the peer's, on a scale where each
// step doubles. Fails when the file cannot be written.
void writePicture(std::string const& file, std::vector<Peer> const& peers, std::vector<Row> const& rows);

} // namespace Bench

#endif
