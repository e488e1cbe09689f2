#include <orvview/Viewer.h>

#include <chrono>
#include <cmath>

#include <glm/geometric.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/CoordinateWidget.h>
#include <orvrender/SceneJson.h>
#include <orvview/ViewerLog.h>

// The viewer's input handlers: the mouse and the keyboard turned into
// camera motion, hover, selection and widget drags. The window and scripts
// both come through here.

namespace orvview {

using namespace orvcore;

namespace {

// A press that moves fewer pixels than this before its release is a click.
constexpr float kClickSlop = 3.0f;

const char* ShapeName(EnumShapeFilter type)
{
    switch (type) {
    case SHAPE_FILTER_VERTEX: return "vertex";
    case SHAPE_FILTER_EDGE: return "edge";
    case SHAPE_FILTER_FACE: return "face";
    default: return "node";
    }
}

double MillisecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

void Viewer::OnMouseMove(float x, float y)
{
    const glm::vec2 point(x, y);
    const glm::vec2 previous = m_Mouse;
    m_Mouse = point;
    if (!m_Manager)
        return;
    if (m_Button < 0) {
        Hover(x, y);
        return;
    }
    if (!m_Dragged && glm::length(point - m_Press) <= kClickSlop)
        return;
    if (!m_Dragged) {
        m_Dragged = true;
        if (m_Drag == Drag::None) {
            if (m_Button == BUTTON_LEFT && (m_PressMods & MOD_SHIFT))
                m_Drag = Drag::Rectangle;
            else
                m_Drag = m_Button == BUTTON_LEFT ? Drag::Orbit : Drag::Pan;
            // The motion so far belongs to the drag.
            if (m_Drag != Drag::Rectangle)
                m_Pivot = Pivot(m_Press.x, m_Press.y);
        }
        if (m_Drag == Drag::Orbit || m_Drag == Drag::Pan) {
            m_Manager->GetSelection()->Hilight(PickedItem());
            const glm::vec2 from = m_Press;
            if (m_Drag == Drag::Orbit)
                m_Navigator->Orbit(m_Pivot, point - from);
            else
                m_Navigator->Pan(m_Pivot, from, point);
            m_CameraMoved = true;
            m_Dirty = true;
            return;
        }
    }
    switch (m_Drag) {
    case Drag::Orbit:
        m_Navigator->Orbit(m_Pivot, point - previous);
        m_CameraMoved = true;
        break;
    case Drag::Pan:
        m_Navigator->Pan(m_Pivot, previous, point);
        m_CameraMoved = true;
        break;
    case Drag::Widget:
        DragWidget(x, y);
        break;
    default:
        break;
    }
    m_Dirty = true;
}

void Viewer::OnMouseButton(int button, bool pressed, int mods)
{
    if (!m_Manager)
        return;
    if (pressed) {
        if (m_Button >= 0)
            return; // one button drives at a time
        m_Button = button;
        m_Press = m_Mouse;
        m_PressMods = mods;
        m_Dragged = false;
        m_Drag = Drag::None;
        if (button == BUTTON_LEFT && !(mods & (MOD_SHIFT | MOD_CTRL)) && BeginWidgetDrag(m_Mouse.x, m_Mouse.y))
            m_Drag = Drag::Widget;
        return;
    }
    if (button != m_Button)
        return;
    const Drag drag = m_Drag;
    m_Button = -1;
    m_Drag = Drag::None;
    if (drag == Drag::Widget)
        EndWidgetDrag();
    else if (drag == Drag::Rectangle)
        RectangleSelect(m_Press, m_Mouse, m_PressMods);
    else if (!m_Dragged && button == BUTTON_LEFT)
        Click(m_Mouse.x, m_Mouse.y, mods | m_PressMods);
    else if (drag == Drag::Orbit || drag == Drag::Pan)
        m_CameraMoved = true;
    m_Dirty = true;
    Hover(m_Mouse.x, m_Mouse.y);
}

void Viewer::OnMouseLeave()
{
    if (!m_Manager || m_Button >= 0 || m_Hover.what.empty())
        return;
    m_Manager->GetSelection()->Hilight(PickedItem());
    m_Manager->GetSelection()->GetGripNodeManager()->SetHighlightIdx(-1);
    if (m_Widget)
        m_Widget->ShowArrow(0);
    m_Hover = HoverReport();
    ViewerLog::Line("hover what=none pick_ms=0.0000");
    m_Dirty = true;
}

void Viewer::OnScroll(float steps)
{
    if (!m_Manager || steps == 0.0f || !std::isfinite(steps))
        return;
    m_Navigator->ZoomAt(Pivot(m_Mouse.x, m_Mouse.y), steps);
    m_CameraMoved = true;
    m_Dirty = true;
}

void Viewer::OnKey(int key, int mods)
{
    if (!m_Manager)
        return;
    if (key >= 'a' && key <= 'z')
        key -= 'a' - 'A';
    if (mods & MOD_CTRL) {
        if (key == 'S')
            RequestScreenshot("");
        else if (key == 'Q')
            m_Quit = true;
        return;
    }
    switch (key) {
    case KEY_ESCAPE:
        if (m_Drag == Drag::Widget) {
            for (const auto& entry : m_DragStart)
                SetNodeTransform(entry.first, entry.second);
            m_DragStart.clear();
            m_Drag = Drag::None;
            m_Button = -1;
        } else {
            ClearSelection();
        }
        break;
    case 'F': FitAll(); break;
    case 'P': ToggleProjection(); break;
    case 'W': SetWidgetMode(m_WidgetMode == "move" ? "none" : "move"); break;
    case 'E': SetWidgetMode(m_WidgetMode == "rotate" ? "none" : "rotate"); break;
    case 'R': SetWidgetMode(m_WidgetMode == "scale" ? "none" : "scale"); break;
    case ' ': SetPlaying(!m_Playing); break;
    case 'M': {
        const char* modes[] = {"node", "face", "edge", "vertex"};
        int next = 0;
        for (int i = 0; i < 4; ++i)
            if (m_PickMode == modes[i])
                next = (i + 1) % 4;
        SetPickMode(modes[next]);
        break;
    }
    case '0': ShowView(STANDARD_VIEW_ISOMETRIC); break;
    case '1': ShowView(STANDARD_VIEW_FRONT); break;
    case '2': ShowView(STANDARD_VIEW_BACK); break;
    case '3': ShowView(STANDARD_VIEW_LEFT); break;
    case '4': ShowView(STANDARD_VIEW_RIGHT); break;
    case '5': ShowView(STANDARD_VIEW_TOP); break;
    case '6': ShowView(STANDARD_VIEW_BOTTOM); break;
    default: break;
    }
}

void Viewer::ShowView(EnumStandardView view)
{
    if (m_Navigator->SetStandardView(view, m_Manager->GetSceneBBox(), true)) {
        m_CameraMoved = true;
        m_Dirty = true;
    }
}

void Viewer::FitAll()
{
    m_Navigator->FitAll(m_Manager->GetSceneBBox(), true);
    m_CameraMoved = true;
    m_Dirty = true;
}

void Viewer::ToggleProjection()
{
    m_Navigator->ToggleProjection();
    m_CameraMoved = true;
    m_Dirty = true;
}

glm::vec3 Viewer::Pivot(float x, float y)
{
    Raycaster caster(m_Manager->GetCamera(), SHAPE_FILTER_ALL, int(x), int(y));
    caster.HitTest(m_Manager);
    if (!caster.GetIntersects().empty())
        return caster.GetTopItem().GetPosition();
    // Nothing under the cursor: the scene centre's depth.
    const AxisAlignedBox& box = m_Manager->GetSceneBBox();
    if (box.isFinite()) {
        const float depth = CameraOperator::WorldPointToWindowPoint(*m_Manager->GetCamera(), box.getCenter()).z;
        if (depth > 0.0f && depth < 1.0f)
            return CameraOperator::WindowPointToWorldPoint(*m_Manager->GetCamera(), glm::vec3(x, y, depth));
        return box.getCenter();
    }
    return m_Navigator->PointOnTargetPlane(x, y);
}

void Viewer::Hover(float x, float y)
{
    HoverReport report;
    const std::shared_ptr<Camera>& camera = m_Manager->GetCamera();
    const int ix = int(std::floor(x)), iy = int(std::floor(y));
    const std::shared_ptr<SelectionManager>& selection = m_Manager->GetSelection();

    // The move widget first: it is drawn over everything.
    if (m_Widget && m_Widget->GetVisible()) {
        Raycaster caster(camera, SHAPE_FILTER_ALL, ix, iy);
        if (m_Widget->HitTest(caster) && caster.GetTopItem().GetNode()) {
            const uint64_t id = caster.GetTopItem().GetNode()->GetUserId();
            m_Widget->ShowArrow(id);
            report.hit = true;
            report.what = "widget";
            report.name = std::string(1, char(id));
        } else {
            m_Widget->ShowArrow(0);
        }
    }
    // Then the view cube overlay (its hovered element lights up).
    if (!report.hit) {
        const auto answer = m_Renderer->HitTestViewWidget(ix, iy, camera);
        if (answer.first) {
            report.hit = true;
            report.what = "cube";
            report.name = orvrender::json::ViewName(answer.second);
        }
    }
    // Grips of the selection within 8 pixels.
    const int grip = selection->GetGripNodeManager()->Highlight(camera, ix, iy);
    if (!report.hit && grip >= 0) {
        report.hit = true;
        report.what = "grip";
        report.name = std::to_string(grip);
        report.position = selection->GetGripNodeManager()->GetNode(grip)->GetPoint();
    }
    // The model.
    if (!report.hit) {
        const auto start = std::chrono::steady_clock::now();
        Raycaster caster(camera, selection->GetPickFilter(), ix, iy);
        caster.HitTest(m_Manager);
        PickedItem item = caster.GetTopItem();
        report.pickMs = MillisecondsSince(start);
        if (!item.IsNull() && (selection->GetPickFilter() & SHAPE_FILTER_NODE))
            item.SetNode(PartOf(item.GetNode()));
        selection->Hilight(item);
        if (!item.IsNull()) {
            report.hit = true;
            report.what = "node";
            report.name = NameOf(item.GetNode());
            report.shape = (selection->GetPickFilter() & SHAPE_FILTER_NODE) ? "node" : ShapeName(item.GetShapeType());
            report.index = item.GetShapeType() == SHAPE_FILTER_NONE ? 0u : unsigned(std::max(item.GetPrimitiveIndex(), 0));
            report.position = item.GetPosition();
        }
    } else {
        selection->Hilight(PickedItem());
    }
    const bool changed = report.what != m_Hover.what || report.name != m_Hover.name ||
                         report.shape != m_Hover.shape || report.index != m_Hover.index;
    m_Hover = report;
    if (changed) {
        std::string line = "hover what=" + (report.hit ? report.what : std::string("none"));
        if (report.hit)
            line += " name=" + ViewerLog::Quote(report.name);
        if (report.what == "node")
            line += " shape=" + report.shape + " index=" + std::to_string(report.index) +
                    " position=" + ViewerLog::Vec(report.position);
        line += " pick_ms=" + ViewerLog::Num(report.pickMs, 4);
        ViewerLog::Line(line);
        m_Dirty = true;
    }
}

void Viewer::Click(float x, float y, int mods)
{
    const std::shared_ptr<Camera>& camera = m_Manager->GetCamera();
    const int ix = int(std::floor(x)), iy = int(std::floor(y));
    if (m_Hover.what == "widget")
        return;
    const auto answer = m_Renderer->HitTestViewWidget(ix, iy, camera);
    if (answer.first) {
        ViewerLog::Line("overlay what=cube view=" + orvrender::json::ViewName(answer.second));
        ShowView(answer.second);
        return;
    }
    const std::shared_ptr<SelectionManager>& selection = m_Manager->GetSelection();
    Raycaster caster(camera, selection->GetPickFilter(), ix, iy);
    caster.HitTest(m_Manager);
    PickedItem item = caster.GetTopItem();
    if (!item.IsNull() && (selection->GetPickFilter() & SHAPE_FILTER_NODE))
        item.SetNode(PartOf(item.GetNode()));
    const bool toggle = (mods & MOD_CTRL) != 0;
    if (item.IsNull()) {
        if (!toggle)
            ClearSelection();
        return;
    }
    selection->Select(item, toggle);
    SelectionChanged();
}

void Viewer::RectangleSelect(const glm::vec2& a, const glm::vec2& b, int mods)
{
    const std::shared_ptr<SelectionManager>& selection = m_Manager->GetSelection();
    FrustumCaster caster(m_Manager->GetCamera(), selection->GetPickFilter(), glm::ivec2(a), glm::ivec2(b));
    caster.HitTest(m_Manager);
    if (!(mods & MOD_CTRL))
        selection->GetSelection()->Clear();
    for (const PickedItem& found : caster.GetIntersects()) {
        PickedItem item = found;
        if (selection->GetPickFilter() & SHAPE_FILTER_NODE)
            item.SetNode(PartOf(item.GetNode()));
        if (!selection->IsSelected(item))
            selection->Select(item, true);
    }
    ViewerLog::Line("rectangle from=" + ViewerLog::Vec(glm::vec3(a, 0.0f)) + " to=" + ViewerLog::Vec(glm::vec3(b, 0.0f)) +
                    " found=" + std::to_string(caster.GetIntersects().size()));
    SelectionChanged();
}

void Viewer::SetPickMode(const std::string& mode)
{
    unsigned int filter = SHAPE_FILTER_ALL | SHAPE_FILTER_SHAPE | SHAPE_FILTER_NODE;
    if (mode == "face")
        filter = SHAPE_FILTER_FACE;
    else if (mode == "edge")
        filter = SHAPE_FILTER_EDGE;
    else if (mode == "vertex")
        filter = SHAPE_FILTER_VERTEX;
    m_PickMode = filter == (SHAPE_FILTER_ALL | SHAPE_FILTER_SHAPE | SHAPE_FILTER_NODE) ? "node" : mode;
    if (m_Manager)
        m_Manager->GetSelection()->SetPickFilter(filter);
    m_Hover = HoverReport();
    m_Dirty = true;
}

} // namespace orvview
