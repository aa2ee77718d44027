#pragma once

#include <cstdint>

namespace DataLayer
{

struct SCutMask;

/// As many as the widest registers have lanes, so that one of them looks up a band's value.
inline constexpr std::uint32_t c_numBands = 16;

/// Where the painted pixels of rows begin, or where they end: near a line, band by band.
struct SPaintedEdge
{
    /// Of the line; with the other sign where they begin.
    float slopes[c_numBands];
    /// A surfel lies on a painted pixel only if its distance from the line, inwards along its row,
    /// is at least this,
    float outer[c_numBands];
    /// and does if that is more than this at both edges.
    float inner[c_numBands];
};

/// What lines tell of painted pixels, so that few of them need to be looked up; all in device
/// coordinates of the painted pixels' rectangle, see SDeviceRange. Plain data, as the mask that
/// has it.
///
/// Surfel (x, y) lies in the band of the integer part of y bandsPerDevice + bandOfZero, modulo
/// c_numBands. Its distances from the lines of that band are slope y + x at the left edge and
/// slope y - x at the right one. All of these are rounded once.
struct SPaintedBands
{
    /// Whether judging by them takes less time than looking up all pixels of the rectangle. If not,
    /// the rest is true all the same.
    bool doPay;
    float bandsPerDevice;
    float bandOfZero;
    SPaintedEdge left;
    SPaintedEdge right;
};

/// Finds the bands of a packed mask whose rectangle is not empty. The lines are the chords of the
/// paint in a band of rows; the bounds hold for every surfel, whatever the paint, and leave open
/// what lies between painted pixels of a row.
[[nodiscard]] SPaintedBands FindPaintedBands(const SCutMask& mask);

}  // namespace DataLayer
