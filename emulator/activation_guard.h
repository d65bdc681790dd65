// A scope during which one object is the one a set of context-free C
// callbacks serves. The plug-in interface hands out plain function tables
// with no user pointer, so the host behind them is a process-wide slot; the
// guard sets the slot and puts back whatever was there before, so scopes nest.
#pragma once

namespace hostemu {

template <class T>
class ActivationGuard {
 public:
  ActivationGuard(T *&slot, T *active) : slot_(slot), previous_(slot) { slot_ = active; }
  ~ActivationGuard() { slot_ = previous_; }
  ActivationGuard(const ActivationGuard &) = delete;
  ActivationGuard &operator=(const ActivationGuard &) = delete;

 private:
  T *&slot_;
  T *previous_;
};

}  // namespace hostemu
