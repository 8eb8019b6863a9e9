#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace libmfx::data_structures {

/// A node of gAVL. `parent` and the children refer to each other: the tree breaks these cycles when
/// a node leaves it and when the tree itself goes.
template <typename T>
struct gAVLNode {
  T data{};
  std::shared_ptr<gAVLNode<T>> parent;  ///< null at the root
  std::shared_ptr<gAVLNode<T>> left;
  std::shared_ptr<gAVLNode<T>> right;
  std::int32_t balance = 0;  ///< height of the right subtree minus that of the left one
};

/// A balanced search tree (AVL) whose comparison may change its meaning while elements are in it,
/// as long as it keeps their order. No operation recurses.
///
/// The tree throws nothing itself; an exception of `compare` passes through and leaves the tree as
/// it was. Not thread-safe. A copy would share nodes, so a tree is moved but not copied.
template <typename T>
class gAVL {
 public:
  using Node = gAVLNode<T>;
  using NodePtr = std::shared_ptr<Node>;
  /// Negative, 0 or positive, as the first element stands before, at or after the second.
  using Comparison = std::function<int(const T&, const T&)>;

  explicit gAVL(Comparison comparison) : compare(std::move(comparison)) {}
  gAVL(const gAVL&) = delete;
  gAVL& operator=(const gAVL&) = delete;
  gAVL(gAVL&& other) noexcept { Swap(other); }
  gAVL& operator=(gAVL&& other) noexcept {
    if (this != &other) {
      Clear();
      Swap(other);
    }
    return *this;
  }
  ~gAVL() { Clear(); }

  /// Adds `x`; false if an equal element is present.
  bool Insert(const T& x);
  /// Adds `x` after all elements, without a comparison: the caller knows that it is the last.
  void Append(const T& x);
  /// Takes the element equal to `x` out; false if there is none.
  bool Remove(const T& x) {
    const NodePtr node = Find(x);
    if (node) Unlink(node);
    return node != nullptr;
  }
  bool Contains(const T& x) const { return Find(x) != nullptr; }
  /// One descent that collects what stands around `key`: the nearest element before it at 0, the
  /// one equal to it at 1, the nearest after it at 2. What doesn't exist has no entry.
  void Traverse(const T& key, std::map<int, T>& result) const;
  std::uint64_t Size() const { return size; }
  /// Empties the tree; `visit` is called with every element, in no particular order.
  template <typename Visitor>
  void Clear(Visitor visit);
  void Clear() {
    Clear([](const T&) {});
  }

  Comparison compare;
  NodePtr root;
  std::uint64_t size = 0;

 private:
  void Swap(gAVL& other) noexcept {
    std::swap(compare, other.compare);
    std::swap(root, other.root);
    std::swap(size, other.size);
  }
  NodePtr Find(const T& x) const;
  void Attach(const NodePtr& parent, bool left, const T& x);
  void Unlink(NodePtr node);
  void ReplaceChild(const NodePtr& parent, const NodePtr& child, const NodePtr& replacement);
  void SwapWithSuccessor(const NodePtr& node);
  void RetraceInsertion(NodePtr child);
  void RetraceRemoval(NodePtr node, bool from_left);
  NodePtr Repair(const NodePtr& x);
  static NodePtr RotateLeft(const NodePtr& x, const NodePtr& z);
  static NodePtr RotateRight(const NodePtr& x, const NodePtr& z);
  static NodePtr RotateRightLeft(const NodePtr& x, const NodePtr& z);
  static NodePtr RotateLeftRight(const NodePtr& x, const NodePtr& z);
};

template <typename T>
bool gAVL<T>::Insert(const T& x) {
  NodePtr parent;
  bool left = false;
  for (NodePtr node = root; node;) {
    const int order = compare(x, node->data);
    if (order == 0) return false;
    left = order < 0;
    parent = node;
    node = left ? node->left : node->right;
  }
  Attach(parent, left, x);
  return true;
}

template <typename T>
void gAVL<T>::Append(const T& x) {
  NodePtr last = root;
  while (last && last->right) last = last->right;
  Attach(last, false, x);
}

template <typename T>
void gAVL<T>::Traverse(const T& key, std::map<int, T>& result) const {
  const Node* before = nullptr;
  const Node* after = nullptr;
  const Node* node = root.get();
  for (int order = 1; node && order != 0;) {
    order = compare(key, node->data);
    if (order < 0) {
      after = node;
      node = node->left.get();
    } else if (order > 0) {
      before = node;
      node = node->right.get();
    }
  }
  if (node) {
    result[1] = node->data;
    const Node* inner = node->left.get();
    for (; inner; inner = inner->right.get()) before = inner;
    inner = node->right.get();
    for (; inner; inner = inner->left.get()) after = inner;
  }
  if (before) result[0] = before->data;
  if (after) result[2] = after->data;
}

template <typename T>
template <typename Visitor>
void gAVL<T>::Clear(Visitor visit) {
  // Leaves first: a node lets go of its parent before the parent lets go of it.
  NodePtr node = std::move(root);
  root = nullptr;
  while (node) {
    if (node->left) {
      node = std::exchange(node->left, nullptr);
    } else if (node->right) {
      node = std::exchange(node->right, nullptr);
    } else {
      visit(std::as_const(node->data));
      node = std::exchange(node->parent, nullptr);
    }
  }
  size = 0;
}

template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::Find(const T& x) const {
  NodePtr node = root;
  while (node) {
    const int order = compare(x, node->data);
    if (order == 0) break;
    node = order < 0 ? node->left : node->right;
  }
  return node;
}

template <typename T>
void gAVL<T>::Attach(const NodePtr& parent, bool left, const T& x) {
  const NodePtr node = std::make_shared<Node>();
  node->data = x;
  node->parent = parent;
  ++size;
  if (!parent) {
    root = node;
    return;
  }
  (left ? parent->left : parent->right) = node;
  RetraceInsertion(node);
}

template <typename T>
void gAVL<T>::ReplaceChild(const NodePtr& parent, const NodePtr& child,
                           const NodePtr& replacement) {
  if (replacement) replacement->parent = parent;
  if (!parent) {
    root = replacement;
  } else if (parent->left == child) {
    parent->left = replacement;
  } else {
    parent->right = replacement;
  }
}

template <typename T>
void gAVL<T>::SwapWithSuccessor(const NodePtr& node) {
  NodePtr next = node->right;
  while (next->left) next = next->left;
  const NodePtr next_right = next->right, next_parent = next->parent;
  std::swap(node->balance, next->balance);
  ReplaceChild(node->parent, node, next);
  next->left = node->left;
  next->left->parent = next;
  if (next_parent == node) {
    next->right = node;
    node->parent = next;
  } else {
    next->right = node->right;
    next->right->parent = next;
    next_parent->left = node;
    node->parent = next_parent;
  }
  node->left = nullptr;
  node->right = next_right;
  if (next_right) next_right->parent = node;
}

template <typename T>
void gAVL<T>::Unlink(NodePtr node) {
  if (node->left && node->right) SwapWithSuccessor(node);
  const NodePtr parent = node->parent;
  const bool from_left = parent && parent->left == node;
  ReplaceChild(parent, node, node->left ? node->left : node->right);
  node->parent = node->left = node->right = nullptr;
  --size;
  RetraceRemoval(parent, from_left);
}

template <typename T>
void gAVL<T>::RetraceInsertion(NodePtr child) {
  for (NodePtr node = child->parent; node; child = node, node = node->parent) {
    node->balance += node->left == child ? -1 : 1;
    if (node->balance == 0) return;
    if (node->balance == 2 || node->balance == -2) {
      Repair(node);
      return;
    }
  }
}

template <typename T>
void gAVL<T>::RetraceRemoval(NodePtr node, bool from_left) {
  while (node) {
    node->balance += from_left ? 1 : -1;
    if (node->balance == 1 || node->balance == -1) return;  // the height has not changed
    if (node->balance != 0) {
      node = Repair(node);
      if (node->balance != 0) return;
    }
    const NodePtr parent = node->parent;
    from_left = parent && parent->left == node;
    node = parent;
  }
}

/// Rotates a node whose balance is 2 or -2; returns the new root of its subtree.
template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::Repair(const NodePtr& x) {
  const NodePtr parent = x->parent;
  NodePtr top;
  if (x->balance > 0) {
    const NodePtr z = x->right;
    top = z->balance < 0 ? RotateRightLeft(x, z) : RotateLeft(x, z);
  } else {
    const NodePtr z = x->left;
    top = z->balance > 0 ? RotateLeftRight(x, z) : RotateRight(x, z);
  }
  ReplaceChild(parent, x, top);
  return top;
}

template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::RotateLeft(const NodePtr& x, const NodePtr& z) {
  x->right = z->left;
  if (x->right) x->right->parent = x;
  z->left = x;
  x->parent = z;
  x->balance = z->balance == 0 ? 1 : 0;
  z->balance = z->balance == 0 ? -1 : 0;
  return z;
}

template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::RotateRight(const NodePtr& x, const NodePtr& z) {
  x->left = z->right;
  if (x->left) x->left->parent = x;
  z->right = x;
  x->parent = z;
  x->balance = z->balance == 0 ? -1 : 0;
  z->balance = z->balance == 0 ? 1 : 0;
  return z;
}

template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::RotateRightLeft(const NodePtr& x, const NodePtr& z) {
  const NodePtr y = z->left;
  const std::int32_t middle = y->balance;
  x->right = RotateRight(z, y);
  y->parent = x;
  RotateLeft(x, y);
  x->balance = middle > 0 ? -1 : 0;
  z->balance = middle < 0 ? 1 : 0;
  y->balance = 0;
  return y;
}

template <typename T>
typename gAVL<T>::NodePtr gAVL<T>::RotateLeftRight(const NodePtr& x, const NodePtr& z) {
  const NodePtr y = z->right;
  const std::int32_t middle = y->balance;
  x->left = RotateLeft(z, y);
  y->parent = x;
  RotateRight(x, y);
  x->balance = middle < 0 ? 1 : 0;
  z->balance = middle > 0 ? -1 : 0;
  y->balance = 0;
  return y;
}

}  // namespace libmfx::data_structures
