// Title texts and file names come from project files: each must stay one option value of the
// export's filter graph, whatever it holds. The input is a title's text; the graph is built,
// parsed and set up by the library, and the drawtext filter must hold exactly that text.

#include "exportengine/filtergraph.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

#include <QString>

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    av_log_set_level(AV_LOG_QUIET);
    const QString text
        = QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
    if (text.contains(QChar(0)))
        return 0;
    Export::RenderPlan plan;
    plan.duration = MTime::fromMSec(40);
    Export::RenderPiece title;
    title.length = plan.duration;
    title.clipLength = plan.duration;
    title.title = Timeline::TitleItem { Timeline::TitleItem::Title, text, {} };
    plan.layers.push_back({ Export::RenderLayer::Titles, { title } });
    // drawtext shapes right-to-left scripts into their joined forms as it starts, rewriting the
    // text it holds; the check is of the escaping, so the shaping is switched off here.
    const QByteArray graphText
        = Export::videoGraph(plan, { QSize(64, 36), { 25, 1 } })
              .replace(QLatin1String("drawtext="), QLatin1String("drawtext=text_shaping=0:"))
              .toUtf8();

    AVFilterGraph *graph = avfilter_graph_alloc();
    AVFilterInOut *inputs = nullptr;
    AVFilterInOut *outputs = nullptr;
    if (avfilter_graph_parse2(graph, graphText.constData(), &inputs, &outputs) < 0)
        (std::fprintf(stderr, "parse failed: %s\n", graphText.constData()),
         std::abort()); // the text broke out of its value
    for (unsigned i = 0; i < graph->nb_filters; ++i) {
        AVFilterContext *f = graph->filters[i];
        if (std::strcmp(f->filter->name, "drawtext") != 0)
            continue;
        std::uint8_t *held = nullptr;
        if (av_opt_get(f->priv, "text", 0, &held) < 0
            || QString::fromUtf8(reinterpret_cast<const char *>(held)) != text) {
            std::fprintf(stderr, "drawtext holds \"%s\" for \"%s\"\n",
                         held ? reinterpret_cast<const char *>(held) : "",
                         text.toUtf8().constData());
            std::abort();
        }
        av_free(held);
    }
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    avfilter_graph_free(&graph);
    return 0;
}
