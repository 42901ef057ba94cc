#include <memory>
#include <stdexcept>

#include <graphviz/cgraph.h>
#include <graphviz/gvc.h>

#include "display/configurationGraph.hpp"

namespace spfctl {

namespace {

struct FreeGraph {
  void operator()(Agraph_t* graph) const { agclose(graph); }
};

struct FreeDrawing {
  void operator()(char* drawing) const { gvFreeRenderData(drawing); }
};

// The layout belongs to the context and has to go before the graph does.
class Layout {
 public:
  Layout(GVC_t& context, Agraph_t& graph) : context_(context), graph_(graph) {
    if (gvLayout(&context, &graph, "dot") != 0) {
      throw std::runtime_error("the graph cannot be laid out");
    }
  }
  ~Layout() { gvFreeLayout(&context_, &graph_); }
  Layout(const Layout&) = delete;
  Layout& operator=(const Layout&) = delete;

  std::string draw(const char* format) const {
    char* drawing = nullptr;
    unsigned length = 0;
    if (gvRenderData(&context_, &graph_, format, &drawing, &length) != 0 || drawing == nullptr) {
      throw std::runtime_error("the graph cannot be drawn");
    }
    const std::unique_ptr<char, FreeDrawing> owner(drawing);
    return {drawing, length};
  }

 private:
  GVC_t& context_;
  Agraph_t& graph_;
};

}  // namespace

std::string drawnAsSvg(const std::string& graph) {
  agseterr(AGMAX);  // the library would print what is wrong with a graph
  // One for the process, never freed: the text plug-in remembers fonts of a context beyond its end.
  static GVC_t* const context = gvContext();
  const std::unique_ptr<Agraph_t, FreeGraph> parsed(agmemread(graph.c_str()));
  if (context == nullptr || !parsed) {
    throw std::runtime_error("the graph cannot be read");
  }
  return Layout(*context, *parsed).draw("svg");
}

}  // namespace spfctl
