// Z-order of windows for the draw thread.
#include "internal/draw_thread_zorder.h"

#include <windows.h>

#include <algorithm>
#include <set>
#include <vector>

namespace QOR::internal {

namespace {

// The sibling rule: `a` is above `b` when it differs from `b` and is met
// before it walking down from the first sibling. With no first sibling, or
// when neither is met, `a` counts as above.
bool siblingAbove(HWND a, HWND b) {
  if (a == b) return false;
  HWND w = GetWindow(a, GW_HWNDFIRST);
  if (!w) return true;
  for (; w; w = GetWindow(w, GW_HWNDNEXT)) {
    if (w == a) return true;
    if (w == b) return false;
  }
  return true;
}

// The window and its ancestors, root first.
std::vector<HWND> chainOf(HWND window) {
  std::vector<HWND> chain;
  for (HWND w = window; w; w = GetAncestor(w, GA_PARENT)) chain.push_back(w);
  std::reverse(chain.begin(), chain.end());
  return chain;
}

struct Search {
  const std::set<HWND>* related;  // queued windows and their ancestors
  Threading::DrawThread::Queue* queue;
  Threading::DrawThread::Queue::iterator result;
  bool found = false;
};

BOOL CALLBACK visit(HWND window, LPARAM param) {
  Search& search = *reinterpret_cast<Search*>(param);
  // A queued descendant comes before the window itself.
  if (search.related->count(window)) EnumChildWindows(window, visit, param);
  if (search.found) return FALSE;
  const auto it = search.queue->find(window);
  if (it == search.queue->end()) return TRUE;
  search.result = it;
  search.found = true;
  return FALSE;
}

}  // namespace

bool isAbove(HWND a, HWND b) {
  if (a == b) return true;
  const std::vector<HWND> chainA = chainOf(a), chainB = chainOf(b);
  std::size_t level = 0;
  while (level < chainA.size() && level < chainB.size() && chainA[level] == chainB[level]) ++level;
  if (level == chainA.size()) return false;  // a is an ancestor of b
  if (level == chainB.size()) return true;   // a is a descendant of b
  return siblingAbove(chainA[level], chainB[level]);
}

Threading::DrawThread::Queue::iterator highestQueued(Threading::DrawThread::Queue& queue) {
  std::set<HWND> related;
  for (const auto& entry : queue)
    for (HWND w = entry.first; w; w = GetAncestor(w, GA_PARENT))
      if (!related.insert(w).second) break;  // its ancestors are in already
  Search search{&related, &queue, queue.end()};
  EnumWindows(visit, reinterpret_cast<LPARAM>(&search));
  return search.found ? search.result : queue.end();
}

}  // namespace QOR::internal
