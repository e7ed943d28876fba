#ifndef STANDARDSTREAMS_H
#define STANDARDSTREAMS_H

/// The three standard descriptors.
namespace StandardStreams {

/// Takes the place of those that whoever started the program has closed, before something else gets
/// their numbers. Reading or writing them still fails.
void occupy();

} // namespace StandardStreams

#endif
