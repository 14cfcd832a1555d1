/*
 * kelkit.h - the public interface of kelkit, a machine-vision image-processing
 * library for industrial inspection.
 *
 * Images are made and owned by the image services (pixsvc.h). Every operator
 * checks its arguments, reports the first failure through im_error under its
 * own exported name and returns that status code (kelkit/base.h), and
 * otherwise returns 0. Measures that return a value return 0 after a failure.
 */
#ifndef KELKIT_H
#define KELKIT_H

#include "kelkit/aligner.h"
#include "kelkit/arith.h"
#include "kelkit/autothreshold.h"
#include "kelkit/average.h"
#include "kelkit/base.h"
#include "kelkit/blob.h"
#include "kelkit/calibration.h"
#include "kelkit/contour.h"
#include "kelkit/convert.h"
#include "kelkit/convolve.h"
#include "kelkit/crawler.h"
#include "kelkit/edge.h"
#include "kelkit/fft.h"
#include "kelkit/filter.h"
#include "kelkit/frame.h"
#include "kelkit/geometry.h"
#include "kelkit/inspect.h"
#include "kelkit/label.h"
#include "kelkit/lead.h"
#include "kelkit/lines.h"
#include "kelkit/list.h"
#include "kelkit/moments.h"
#include "kelkit/morphology.h"
#include "kelkit/pattern.h"
#include "kelkit/pixel.h"
#include "kelkit/profile.h"
#include "kelkit/random.h"
#include "kelkit/rank.h"
#include "kelkit/search.h"
#include "kelkit/stats.h"
#include "kelkit/subpixel.h"
#include "kelkit/threshold.h"
#include "kelkit/vela.h"
#include "kelkit/vela360.h"
#include "pixsvc.h"

#endif /* KELKIT_H */
