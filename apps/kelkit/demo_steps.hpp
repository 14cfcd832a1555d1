// The steps of `kelkit demo`. Each step runs one library tool on the scene,
// compares what it finds with the scene's truth, draws its findings into the
// annotated image and adds a row to the results table plus a detail list.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "demo_draw.hpp"
#include "demo_scene.hpp"

namespace demo {

using Record = std::vector<std::pair<std::string, std::string>>;

// One row of the results table.
struct StepRow {
  std::string step;      // what ran
  std::string found;     // what it found
  std::string figures;   // key figures
  std::string expected;  // the truth from the scene
  std::string error;     // found against expected
  double ms = 0;         // time of the library calls of the step
  bool passed = true;    // within the demo's tolerances
};

// A list of records (one per found object) under a key of the output.
struct Detail {
  std::string key;
  std::vector<Record> rows;
  std::vector<std::string> numeric_keys;
  bool in_table = true;  // also printed in the readable form (always in JSON)
};

struct Report {
  std::vector<StepRow> steps;
  std::vector<Detail> details;
};

// Tolerances the demo checks its own results against.
constexpr double kPositionTolerance = 1.0;  // pixels
constexpr double kAngleTolerance = 1.0;     // degrees
constexpr double kWidthTolerance = 0.5;     // pixels

// Text helpers for the table.
std::string fixed(double v, int decimals);

// Milliseconds since `start`, a value of std::chrono::steady_clock.
double elapsed_ms(long long start_ns);
long long now_ns();

// The correlation search finds the fiducial marks.
void step_fiducials(Image *scene, const Truth &truth, Pen &pen, Report &report);
// The rotation-invariant search finds every part with its angle (the turned
// one among them).
void step_rotated_part(Image *scene, const Truth &truth, Pen &pen, Report &report);
// Blob analysis counts and measures the parts and the holes.
void step_blobs(Image *scene, const Truth &truth, Pen &pen, Report &report);
// A caliper measures the width of one part along a line across it.
void step_caliper(Image *scene, const Truth &truth, Pen &pen, Report &report);
// The inspection tool learns clean boards and finds the scratch. Draws the
// defect groups with `pen`, and into `defects` (a copy of the scene).
void step_inspection(Image *scene, const Truth &truth, unsigned seed, Pen &pen, Image *defects,
                     Report &report);

}  // namespace demo
