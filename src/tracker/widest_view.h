#ifndef TRACKER_WIDEST_VIEW_H
#define TRACKER_WIDEST_VIEW_H

// The head's field of view when it is zoomed out: what does not fit into it cannot be followed.
struct WidestView {
  // The bounds are inclusive.
  bool holds(double width, double height) const {
    return width <= m_maxHorizontalObjectSize && height <= m_maxVerticalObjectSize;
  }

  double m_maxHorizontalObjectSize = 60.0;  // degrees; as assumed until the head is known
  double m_maxVerticalObjectSize = 45.0;    // degrees
};

#endif
