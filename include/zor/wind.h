// Wind symbols drawn at a point of the current plot: barbs with pennants,
// arrows whose length follows the speed, and storm tracks with cross ticks.
// Directions are degrees clockwise from north, given as the direction the
// wind (or storm) comes from; -9999 marks a missing direction or speed.
// They draw with the caller's line and fill attributes in world
// coordinates of the current normalisation transformation.
#pragma once

// Barb for speed spd (knots) at (x, y): staff of length size starting offset
// from the point. 0, or -1 when nothing is drawn (missing or calm).
int WIND_barb(float x, float y, float dir, float spd, float size, float offset);
// WIND_barb with dir turned from true north to the plot's grid north.
int WIND_barb_map(float x, float y, float dir, float spd, float size, float offset);

// Arrow from (x, y) pointing downwind, size * spd long; a head when arrow > 0.
int WIND_vect(float x, float y, float dir, float spd, float size, float arrow);
int WIND_vect_map(float x, float y, float dir, float spd, float size, float arrow);

// Track of length spd from (x, y) downwind with maj evenly spaced cross ticks
// (the first at the start) and a head of fixed size when arrow > 0; min is
// accepted for compatibility and unused.
int WIND_track(float x, float y, float dir, float spd, float arrow, int maj, int min);
