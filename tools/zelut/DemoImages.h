/*
 * The pictures and the sample grade of `zelut demo` (also the default table
 * of `zelut bench`).
 *
 *   RgbImage chart = makeTestChart(1280, 720);   // bars, skin tones, gradients
 *   LutTable grade = sampleGradeTable(33);        // a warm, contrasty look
 *   RgbImage both  = sideBySide(chart, graded);   // labelled BEFORE / AFTER
 */
#ifndef ZELUT_DEMOIMAGES_H
#define ZELUT_DEMOIMAGES_H

#include <cstdint>

#include "LutFile.h"
#include "PngImage.h"

// Colour bars across the top third, skin-tone patches (light to deep) in the
// middle, and smooth gradients below: a grey ramp, a hue sweep, and a hue by
// lightness field.
RgbImage makeTestChart(uint32_t width, uint32_t height);

// A grade built from a formula: gentle S-curve contrast, cool shadows, warm
// highlights and a little more saturation, with skin-coloured hues spared
// most of the tint.
LutTable sampleGradeTable(uint32_t n);

// before | gap | after on a dark background, each under its label.
RgbImage sideBySide(const RgbImage& before, const RgbImage& after);

#endif
