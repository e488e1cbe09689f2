// OpenSceneGraph 3.6 on the scenes of frame_bench.cpp and gl_frame_bench.cpp,
// so that our figures can be read beside a widely used scene graph's. This
// program does not link orvcore: it builds the same layouts out of OSG's own
// nodes and times what OSG does for them.
//
// BM_OsgFrameUpdateAndCull: 100,000 nodes in 1,000 groups (MatrixTransform
// groups of 100 MatrixTransform + Geode children), each geode with its own
// box geometry or all of them one shared geometry, a ground grid of the
// default size of ours, half the groups outside the orthographic view. Each
// iteration moves 1 % of the nodes (setMatrix), then runs the update and
// the cull traversals of an osgUtil::SceneView (UpdateVisitor; CullVisitor
// into its RenderStage and StateGraph, the bins sorted); nothing is drawn
// and no OpenGL context exists. Heap allocations per frame are counted as
// in frame_bench.cpp.
//
// BM_OsgGlFrame10kBoxes: 10,000 boxes of size 8 spaced 10 apart with their
// 12 edges, lit faces (the viewer's headlight) and dark unlit edges, drawn
// by a single-threaded osgViewer::Viewer (OSG's other threading models
// were no faster here) into a 1280 x 720 GLX pbuffer without
// multisampling, each frame ended by glFinish. Run it under Xvfb.
// Geometries either each box's own (optionally each box in a face colour
// of its own) or shared by all, drawn through display
// lists (OSG's default for osg::Geometry) or vertex buffer objects, into the
// pbuffer itself or into a framebuffer object of the camera's. With
// ORVCORE_OSG_SNAPSHOT=<file.png> the first frame of each is written there,
// to check the view against ours.
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <osg/Geode>
#include <osg/Geometry>
#include <osg/GL>
#include <osg/Material>
#include <osg/MatrixTransform>
#include <osg/PolygonOffset>
#include <osg/StateSet>
#include <osgDB/WriteFile>
#include <osgUtil/RenderStage>
#include <osgUtil/SceneView>
#include <osgViewer/Viewer>

#include "AllocationCount.h"


namespace {

constexpr int kWidth = 1280, kHeight = 720;
constexpr double kHalfFov = 22.5 * M_PI / 180.0; // our cameras' default 45 degree field of view

// A box centred on the origin as GeometryBuilder::CreateBox makes it: 24
// vertices (four per face with the face's normal and texture coordinates),
// 36 unsigned short indices.
osg::ref_ptr<osg::Geometry> MakeBox(float size)
{
    struct Face {
        osg::Vec3 normal, u, v;
    };
    static const Face kFaces[6] = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},  {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, {{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}},
        {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}, {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},   {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}},
    };
    static const float kCorners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    const float half = size * 0.5f;
    osg::ref_ptr<osg::Vec3Array> positions = new osg::Vec3Array;
    osg::ref_ptr<osg::Vec3Array> normals = new osg::Vec3Array;
    osg::ref_ptr<osg::Vec2Array> uvs = new osg::Vec2Array;
    osg::ref_ptr<osg::DrawElementsUShort> triangles = new osg::DrawElementsUShort(GL_TRIANGLES);
    for (const Face& face : kFaces) {
        const auto first = static_cast<unsigned short>(positions->size());
        for (const auto& corner : kCorners) {
            positions->push_back((face.normal + face.u * corner[0] + face.v * corner[1]) * half);
            normals->push_back(face.normal);
            uvs->push_back(osg::Vec2(0.5f + 0.5f * corner[0], 0.5f + 0.5f * corner[1]));
        }
        for (unsigned short i : {0, 1, 2, 0, 2, 3})
            triangles->push_back(static_cast<unsigned short>(first + i));
    }
    osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
    geometry->setVertexArray(positions);
    geometry->setNormalArray(normals, osg::Array::BIND_PER_VERTEX);
    geometry->setTexCoordArray(0, uvs, osg::Array::BIND_PER_VERTEX);
    geometry->addPrimitiveSet(triangles);
    return geometry;
}

// The 12 edges of that box: 8 corners, 24 line indices.
osg::ref_ptr<osg::Geometry> MakeBoxEdges(float size)
{
    const float h = size * 0.5f;
    osg::ref_ptr<osg::Vec3Array> corners = new osg::Vec3Array;
    for (int i = 0; i < 8; ++i)
        corners->push_back(osg::Vec3(i & 1 ? h : -h, i & 2 ? h : -h, i & 4 ? h : -h));
    osg::ref_ptr<osg::DrawElementsUShort> lines = new osg::DrawElementsUShort(GL_LINES);
    for (int a = 0; a < 8; ++a)
        for (int bit : {1, 2, 4})
            if (!(a & bit)) {
                lines->push_back(static_cast<unsigned short>(a));
                lines->push_back(static_cast<unsigned short>(a | bit));
            }
    osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
    geometry->setVertexArray(corners);
    geometry->addPrimitiveSet(lines);
    return geometry;
}

// Lines as GL_LINES, each segment two vertices.
osg::ref_ptr<osg::Geometry> MakeLines(const std::vector<osg::Vec3>& ends)
{
    osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
    geometry->setVertexArray(new osg::Vec3Array(ends.begin(), ends.end()));
    geometry->addPrimitiveSet(new osg::DrawArrays(GL_LINES, 0, static_cast<GLsizei>(ends.size())));
    return geometry;
}

// The ground grid that our scene manager shows by default: 50-unit cells,
// five each side of both axes, the major lines and axes (22 segments) and
// four minor lines per cell (80 segments), two unlit line geometries.
osg::ref_ptr<osg::Geode> MakeGrid()
{
    const float cell = 50.0f, e = 250.0f, step = cell / 5.0f;
    std::vector<osg::Vec3> major, minor;
    for (int i = -5; i <= 5; ++i) {
        major.insert(major.end(), {{i * cell, e, 0}, {i * cell, -e, 0}});
        major.insert(major.end(), {{-e, i * cell, 0}, {e, i * cell, 0}});
    }
    for (int i = 0; i < 5; ++i)
        for (int k = 1; k <= 4; ++k)
            for (float s : {1.0f, -1.0f}) {
                const float x = s * (i * cell + k * step);
                minor.insert(minor.end(), {{x, e, 0}, {x, -e, 0}});
                minor.insert(minor.end(), {{-e, x, 0}, {e, x, 0}});
            }
    osg::ref_ptr<osg::Geode> geode = new osg::Geode;
    geode->addDrawable(MakeLines(major));
    geode->addDrawable(MakeLines(minor));
    geode->getOrCreateStateSet()->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
    return geode;
}

osg::ref_ptr<osg::StateSet> FaceState(const osg::Vec4& colour = osg::Vec4(0.8f, 0.8f, 0.8f, 1.0f))
{
    osg::ref_ptr<osg::StateSet> state = new osg::StateSet;
    osg::ref_ptr<osg::Material> material = new osg::Material;
    material->setDiffuse(osg::Material::FRONT_AND_BACK, colour);
    state->setAttributeAndModes(material);
    state->setAttributeAndModes(new osg::PolygonOffset(1.0f, 1.0f));
    return state;
}

// Drawables collected into a render stage and its bins.
std::size_t CountLeaves(const osgUtil::RenderBin& bin)
{
    std::size_t count = bin.getRenderLeafList().size();
    for (const osgUtil::StateGraph* graph : bin.getStateGraphList())
        count += graph->_leaves.size();
    for (const auto& child : bin.getRenderBinList())
        count += CountLeaves(*child.second);
    return count;
}

void BM_OsgFrameUpdateAndCull(benchmark::State& state)
{
    constexpr int kGroups = 1000, kPerGroup = 100, kNodes = kGroups * kPerGroup;
    const bool own = state.range(0) != 0;
    osg::ref_ptr<osg::Group> root = new osg::Group;
    osg::ref_ptr<osg::StateSet> faceState = FaceState();
    osg::ref_ptr<osg::Geometry> shared = MakeBox(1.0f);
    shared->setStateSet(faceState);

    // The layout of frame_bench.cpp: groups on a 60 x 17 layout, 1800 x 510
    // units, nodes 2.5 apart in each group.
    std::vector<osg::MatrixTransform*> nodes;
    nodes.reserve(kNodes);
    for (int g = 0; g < kGroups; ++g) {
        osg::ref_ptr<osg::MatrixTransform> group = new osg::MatrixTransform(
            osg::Matrix::translate(float(g % 60) * 30.0f, float(g / 60) * 30.0f, 0.0f));
        for (int i = 0; i < kPerGroup; ++i) {
            osg::ref_ptr<osg::MatrixTransform> node = new osg::MatrixTransform(
                osg::Matrix::translate(float(i % 10) * 2.5f, float(i / 10) * 2.5f, 0.0f));
            osg::ref_ptr<osg::Geode> geode = new osg::Geode;
            if (own) {
                osg::ref_ptr<osg::Geometry> box = MakeBox(1.0f);
                box->setStateSet(faceState);
                geode->addDrawable(box);
            } else {
                geode->addDrawable(shared);
            }
            node->addChild(geode);
            group->addChild(node);
            nodes.push_back(node.get());
        }
        root->addChild(group);
    }
    root->addChild(MakeGrid());

    // The camera of frame_bench.cpp: orthographic, down -Z onto the left
    // half of the layout (900 x 510 at 16:9), its distance and clip range
    // those our camera gets from framing that half.
    const double radius = 0.5 * std::sqrt(900.0 * 900.0 + 510.0 * 510.0 + 4.0);
    const double distance = radius / std::tan(kHalfFov);
    const double halfHeight = 255.0, halfWidth = halfHeight * kWidth / kHeight;
    osg::ref_ptr<osgUtil::SceneView> view = new osgUtil::SceneView;
    view->setDefaults();
    view->setState(new osg::State);
    osg::ref_ptr<osg::FrameStamp> stamp = new osg::FrameStamp;
    view->setFrameStamp(stamp);
    view->setSceneData(root);
    view->setViewport(0, 0, kWidth, kHeight);
    view->setProjectionMatrixAsOrtho(-halfWidth, halfWidth, -halfHeight, halfHeight, distance - radius,
                                     distance + radius);
    view->setViewMatrixAsLookAt(osg::Vec3(450.0f, 255.0f, float(distance)), osg::Vec3(450.0f, 255.0f, 0.0f),
                                osg::Vec3(0.0f, 1.0f, 0.0f));
    if (state.range(1) == 0) // our culling has no small-feature test
        view->setCullingMode(view->getCullingMode() & ~osg::CullSettings::SMALL_FEATURE_CULLING);

    std::mt19937 rng(1);
    std::uniform_int_distribution<int> pick(0, kNodes - 1);
    std::vector<int> moved(kNodes / 100);
    long frames = 0, allocations = 0;
    unsigned int frameNumber = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (int& m : moved)
            m = pick(rng);
        state.ResumeTiming();
        const long before = AllocationCount();

        for (int m : moved) {
            osg::MatrixTransform* node = nodes[std::size_t(m)];
            osg::Matrix t = node->getMatrix();
            t(3, 2) = t(3, 2) > 0.0 ? 0.0 : 0.5;
            node->setMatrix(t);
        }
        stamp->setFrameNumber(++frameNumber);
        view->update();
        view->cull();

        if (frames++ > 0) // the first frame grows the pools and lists
            allocations += AllocationCount() - before;
    }
    state.counters["time_per_node"] =
        benchmark::Counter(double(kNodes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["allocations_per_frame"] = frames > 1 ? double(allocations) / double(frames - 1) : 0.0;
    state.counters["drawables_collected"] = double(CountLeaves(*view->getRenderStage()));
    state.SetLabel(std::string(own ? "own geometry per node" : "one shared geometry") +
                   (state.range(1) == 0 ? ", small-feature culling off" : ", OSG default culling"));
}

// Ends every frame once the image is finished.
struct FinishFrame : osg::Camera::DrawCallback {
    void operator()(osg::RenderInfo&) const override { glFinish(); }
};

// The first frame: the renderer's name, and the image when asked for.
struct FirstFrame : osg::Camera::DrawCallback {
    explicit FirstFrame(std::string* name) : out(name) {}
    void operator()(osg::RenderInfo&) const override
    {
        if (const auto* text = reinterpret_cast<const char*>(glGetString(GL_RENDERER)))
            *out = text;
        glFinish();
        if (const char* path = std::getenv("ORVCORE_OSG_SNAPSHOT")) {
            osg::ref_ptr<osg::Image> image = new osg::Image;
            image->readPixels(0, 0, kWidth, kHeight, GL_RGB, GL_UNSIGNED_BYTE);
            osgDB::writeImageFile(*image, path);
        }
    }
    std::string* out;
};

void BM_OsgGlFrame10kBoxes(benchmark::State& state)
{
    // shared: 0 each box its own geometry, 1 one geometry for all, 2 each
    // box its own geometry and a face state (material) in a colour of its own.
    const bool shared = state.range(0) == 1, coloured = state.range(0) == 2;
    const bool vbo = state.range(1) != 0, fbo = state.range(2) != 0;
    osg::ref_ptr<osg::GraphicsContext::Traits> traits = new osg::GraphicsContext::Traits;
    traits->readDISPLAY(); // the X server that xvfb-run started
    traits->setUndefinedScreenDetailsToDefaultScreen();
    traits->width = kWidth;
    traits->height = kHeight;
    traits->red = traits->green = traits->blue = 8;
    traits->alpha = 0;
    traits->depth = 24;
    traits->pbuffer = true;
    traits->doubleBuffer = false;
    traits->samples = 0;
    traits->sampleBuffers = 0;
    traits->vsync = false;
    traits->windowDecoration = false;
    osg::ref_ptr<osg::GraphicsContext> context = osg::GraphicsContext::createGraphicsContext(traits);
    if (!context || !context->valid()) {
        state.SkipWithError("no GLX pbuffer (run under xvfb-run)");
        return;
    }

    osg::ref_ptr<osg::StateSet> faceState = FaceState();
    osg::ref_ptr<osg::StateSet> edgeState = new osg::StateSet;
    edgeState->setMode(GL_LIGHTING, osg::StateAttribute::OFF);
    osg::ref_ptr<osg::Vec4Array> edgeColour = new osg::Vec4Array;
    edgeColour->push_back(osg::Vec4(0.1f, 0.1f, 0.1f, 1.0f));
    int made = 0;
    auto face = [&] {
        osg::ref_ptr<osg::Geometry> g = MakeBox(8.0f);
        const int i = made++;
        g->setStateSet(coloured ? FaceState(osg::Vec4(float(i % 100) / 100.0f, 0.5f, float(i / 100) / 100.0f, 1.0f))
                                : faceState);
        return g;
    };
    auto edges = [&] {
        osg::ref_ptr<osg::Geometry> g = MakeBoxEdges(8.0f);
        g->setColorArray(edgeColour, osg::Array::BIND_OVERALL);
        g->setStateSet(edgeState);
        return g;
    };
    osg::ref_ptr<osg::Geometry> sharedFace = face(), sharedEdges = edges();
    const bool defaultDisplayList = sharedFace->getUseDisplayList();
    const bool defaultVbo = sharedFace->getUseVertexBufferObjects();
    osg::ref_ptr<osg::Group> root = new osg::Group;
    for (int i = 0; i < 10000; ++i) {
        osg::ref_ptr<osg::MatrixTransform> node =
            new osg::MatrixTransform(osg::Matrix::translate(float(i % 100) * 10.0f, float(i / 100) * 10.0f, 4.0f));
        osg::ref_ptr<osg::Geode> geode = new osg::Geode;
        osg::ref_ptr<osg::Geometry> f = shared ? sharedFace : face(), e = shared ? sharedEdges : edges();
        for (osg::Geometry* g : {f.get(), e.get()}) {
            if (vbo) {
                g->setUseDisplayList(false);
                g->setUseVertexBufferObjects(true);
            }
            geode->addDrawable(g);
        }
        node->addChild(geode);
        root->addChild(node);
    }

    // The camera of gl_frame_bench.cpp: the isometric standard view (eye
    // towards +X, -Y, +Z of the target) framing the layout's box widened by
    // 1.1, 45 degree perspective, the clip range our camera computes.
    const osg::Vec3d centre(495.0, 495.0, 4.0);
    const double radius = 1.1 * 0.5 * std::sqrt(998.0 * 998.0 * 2.0 + 8.0 * 8.0);
    const double distance = radius / std::sin(kHalfFov);
    osg::Vec3d offset(1.0, -1.0, 1.0);
    offset.normalize();
    const osg::Vec3d direction = -offset;
    osg::Vec3d up = osg::Vec3d(0, 0, 1) - direction * (osg::Vec3d(0, 0, 1) * direction);
    up.normalize();

    osgViewer::Viewer viewer;
    viewer.setThreadingModel(osgViewer::Viewer::SingleThreaded);
    osg::Camera* camera = viewer.getCamera();
    camera->setGraphicsContext(context);
    camera->setViewport(0, 0, kWidth, kHeight);
    camera->setDrawBuffer(GL_FRONT);
    camera->setReadBuffer(GL_FRONT);
    if (fbo) {
        camera->setRenderTargetImplementation(osg::Camera::FRAME_BUFFER_OBJECT);
        camera->attach(osg::Camera::COLOR_BUFFER, GL_RGBA8);
        camera->attach(osg::Camera::DEPTH_BUFFER, GL_DEPTH_COMPONENT24);
    }
    camera->setClearColor(osg::Vec4(1.0f, 1.0f, 1.0f, 1.0f));
    camera->setComputeNearFarMode(osg::CullSettings::DO_NOT_COMPUTE_NEAR_FAR);
    camera->setProjectionMatrixAsPerspective(45.0, double(kWidth) / kHeight, std::max(distance - radius, distance * 1e-3),
                                             distance + radius);
    camera->setViewMatrixAsLookAt(centre + offset * distance, centre, up);
    viewer.setSceneData(root);
    std::string renderer;
    camera->setFinalDrawCallback(new FirstFrame(&renderer));
    viewer.realize();
    viewer.frame(); // the first frame compiles the display lists or buffers
    camera->setFinalDrawCallback(new FinishFrame);
    for (auto _ : state)
        viewer.frame();
    state.counters["fps"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate);
    state.SetLabel(renderer + (shared ? ", shared geometry" : coloured ? ", own geometry and colours" : ", own geometry") +
                   (vbo ? ", VBOs" : ", display lists") +
                   (defaultDisplayList ? " (OSG default: display lists)"
                                       : defaultVbo ? " (OSG default: VBOs)" : " (OSG default: vertex arrays)"));
}

} // namespace

// own: 0 one shared geometry, 1 every node its own; osg_culling: 0 without
// the small-feature test (as ours), 1 OSG's default culling modes.
BENCHMARK(BM_OsgFrameUpdateAndCull)
    ->ArgNames({"own", "osg_culling"})
    ->Args({1, 0})
    ->Args({0, 0})
    ->Args({1, 1})
    ->Unit(benchmark::kMillisecond);
// shared: 1 all boxes one face and one edge geometry, 2 every box its own
// geometry and face colour (a state set each); vbo: 0 display lists,
// 1 vertex buffer objects; fbo: 0 drawn into the pbuffer, 1 into a
// framebuffer object.
BENCHMARK(BM_OsgGlFrame10kBoxes)
    ->ArgNames({"shared", "vbo", "fbo"})
    ->Args({0, 0, 0})
    ->Args({0, 1, 0})
    ->Args({1, 0, 0})
    ->Args({1, 1, 0})
    ->Args({0, 0, 1})
    ->Args({0, 1, 1})
    ->Args({1, 0, 1})
    ->Args({1, 1, 1})
    ->Args({2, 0, 0})
    ->Args({2, 1, 0})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
