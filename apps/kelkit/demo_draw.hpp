// Marks drawn into grey BYTE images for the annotated results of
// `kelkit demo`: every stroke is white with a black rim, so it stays visible
// on bright parts and on dark holes alike. Everything is clipped to the image.
#pragma once

#include "kelkit.h"

namespace demo {

class Pen {
 public:
  explicit Pen(Image *img) : img_(img) {}

  void line(double x0, double y0, double x1, double y1);
  // Axis-aligned rectangle through its inclusive corner pixels.
  void box(double x0, double y0, double x1, double y1);
  // A rectangle of size w by h centred at (cx, cy), turned clockwise on
  // screen by angle_deg, with a tick from its centre along its turned x axis.
  void turned_box(double cx, double cy, double w, double h, double angle_deg);
  void cross(double x, double y, double half);
  void circle(double x, double y, double r);
  // A number written with a 3 by 5 pixel font, scaled by 2, top-left at (x, y).
  void label(double x, double y, const char *text);

 private:
  void dot(int x, int y, unsigned char v);
  void plot(double x0, double y0, double x1, double y1, int pass);
  void pixel_block(int x, int y, int pass);

  Image *img_;
};

}  // namespace demo
