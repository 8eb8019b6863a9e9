#include "geometry/sweep/beachline.h"

#include <utility>

namespace libmfx::geometry::sweep {

int Beachline::Find(const Vec2& p) const {
  int found = _first;
  int i = _root;
  while (i != kNone) {
    const Arc& a = arc(i);
    if (i == _first || IsRightOfBreakpoint(p, a.left_site, a.site)) {
      found = i;
      i = a.right;
    } else {
      i = a.left;
    }
  }
  return found;
}

int Beachline::Allocate(const Vec2& position, int site) {
  int i;
  if (_free.empty()) {
    i = static_cast<int>(_arcs.size());
    _arcs.emplace_back();
    _traces.emplace_back();
  } else {
    i = _free.back();
    _free.pop_back();
  }
  at(i) = {position, position, kNone, kNone, kNone, kNone, kNone, 0};
  trace(i) = {kNoCircle, site, kNone, kNone};
  return i;
}

int Beachline::InsertFirst(const Vec2& position, int site) {
  _root = _first = Allocate(position, site);
  return _root;
}

int Beachline::InsertAfter(int left, const Vec2& position, int site) {
  const int i = Allocate(position, site);
  AttachAfter(left, i);
  Arc& fresh = at(i);
  fresh.left_site = arc(left).site;
  fresh.prev = left;
  fresh.next = arc(left).next;
  at(left).next = i;
  if (fresh.next != kNone) {
    at(fresh.next).prev = i;
    at(fresh.next).left_site = position;
  }
  return i;
}

// In order, the place after an arc is its right child, or the left child of its successor.
void Beachline::AttachAfter(int left, int fresh) {
  if (arc(left).right == kNone) {
    at(left).right = fresh;
    at(fresh).up = left;
  } else {
    const int next = arc(left).next;
    at(next).left = fresh;
    at(fresh).up = next;
  }
  RetraceInsertion(fresh);
}

void Beachline::ReplaceChild(int up, int old_child, int new_child) {
  if (up == kNone) {
    _root = new_child;
  } else if (arc(up).left == old_child) {
    at(up).left = new_child;
  } else {
    at(up).right = new_child;
  }
  if (new_child != kNone) at(new_child).up = up;
}

int Beachline::RotateLeft(int x, int z) {
  const int inner = arc(z).left;
  at(x).right = inner;
  if (inner != kNone) at(inner).up = x;
  at(z).left = x;
  at(x).up = z;
  at(x).balance -= 1 + (arc(z).balance > 0 ? arc(z).balance : 0);
  at(z).balance -= 1 - (arc(x).balance < 0 ? arc(x).balance : 0);
  return z;
}

int Beachline::RotateRight(int x, int z) {
  const int inner = arc(z).right;
  at(x).left = inner;
  if (inner != kNone) at(inner).up = x;
  at(z).right = x;
  at(x).up = z;
  at(x).balance += 1 - (arc(z).balance < 0 ? arc(z).balance : 0);
  at(z).balance += 1 + (arc(x).balance > 0 ? arc(x).balance : 0);
  return z;
}

/// Mends a node whose balance has become 2 or -2; returns the root of the mended subtree.
int Beachline::Rotate(int x) {
  const int up = arc(x).up;
  int top;
  if (arc(x).balance > 0) {
    int z = arc(x).right;
    if (arc(z).balance < 0) {
      z = RotateRight(z, arc(z).left);
      at(x).right = z;
      at(z).up = x;
    }
    top = RotateLeft(x, z);
  } else {
    int z = arc(x).left;
    if (arc(z).balance > 0) {
      z = RotateLeft(z, arc(z).right);
      at(x).left = z;
      at(z).up = x;
    }
    top = RotateRight(x, z);
  }
  ReplaceChild(up, x, top);
  return top;
}

void Beachline::RetraceInsertion(int z) {
  for (int x = arc(z).up; x != kNone; z = x, x = arc(z).up) {
    at(x).balance += arc(x).left == z ? -1 : 1;
    if (arc(x).balance == 0) return;
    if (arc(x).balance == 2 || arc(x).balance == -2) {
      Rotate(x);
      return;
    }
  }
}

void Beachline::RetraceRemoval(int x, bool from_left) {
  while (x != kNone) {
    at(x).balance += from_left ? 1 : -1;
    if (arc(x).balance == 1 || arc(x).balance == -1) return;
    if (arc(x).balance != 0) {
      x = Rotate(x);
      if (arc(x).balance != 0) return;
    }
    const int up = arc(x).up;
    from_left = up != kNone && arc(up).left == x;
    x = up;
  }
}

/// Exchanges the places in the tree of a node with two children and of its successor.
void Beachline::SwapWithNext(int i) {
  const int s = arc(i).next;
  const int s_right = arc(s).right;
  const int s_up = arc(s).up;
  std::swap(at(i).balance, at(s).balance);
  ReplaceChild(arc(i).up, i, s);
  at(s).left = arc(i).left;
  at(arc(s).left).up = s;
  if (s_up == i) {
    at(s).right = i;
    at(i).up = s;
  } else {
    at(s).right = arc(i).right;
    at(arc(s).right).up = s;
    at(s_up).left = i;
    at(i).up = s_up;
  }
  at(i).left = kNone;
  at(i).right = s_right;
  if (s_right != kNone) at(s_right).up = i;
}

void Beachline::Remove(int i) {
  if (arc(i).left != kNone && arc(i).right != kNone) SwapWithNext(i);
  const int up = arc(i).up;
  const bool from_left = up != kNone && arc(up).left == i;
  ReplaceChild(up, i, arc(i).left != kNone ? arc(i).left : arc(i).right);
  RetraceRemoval(up, from_left);
  const int prev = arc(i).prev, next = arc(i).next;
  if (prev != kNone) at(prev).next = next;
  if (next != kNone) {
    at(next).prev = prev;
    if (prev != kNone) at(next).left_site = arc(prev).site;
  }
  if (i == _first) _first = next;
  _free.push_back(i);
}

}  // namespace libmfx::geometry::sweep
