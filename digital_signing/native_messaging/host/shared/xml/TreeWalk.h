#pragma once

#include <vector>
#include <xercesc/dom/DOMNode.hpp>

namespace vorn {

/** Goes through a subtree in document order without recursion, and stands at every node twice: before and
 * after its children. It keeps the way back itself, as asking a node for its parent is slow. */
template <typename Node>
class TreeWalk {
 public:
  explicit TreeWalk(Node* root) : node_(root) {}

  /** Null at the end. */
  Node* node() const { return node_; }
  bool leaving() const { return leaving_; }

  void advance() {
    if (!leaving_) {
      if (Node* child = node_->getFirstChild(); child != nullptr) {
        path_.push_back(node_);
        node_ = child;
      } else {
        leaving_ = true;
      }
    } else {
      moveOn();
    }
  }

  /** Past the node and all below, without standing at it again. */
  void moveOn() {
    Node* sibling = path_.empty() ? nullptr : static_cast<Node*>(node_->getNextSibling());
    leaving_ = sibling == nullptr;
    if (sibling != nullptr) {
      node_ = sibling;
    } else if (path_.empty()) {
      node_ = nullptr;
    } else {
      node_ = path_.back();
      path_.pop_back();
    }
  }

 private:
  Node* node_;
  bool leaving_ = false;
  std::vector<Node*> path_;
};

}  // namespace vorn
