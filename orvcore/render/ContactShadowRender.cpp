#include <orvcore/render/ContactShadowRender.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvkernel/texture/TargetTexture.h>
#include <orvkernel/texture/TextureTarget.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/SceneManager.h>

namespace orvcore {

namespace {

constexpr uint32_t kColorAttachment = 0x8CE0;
// The plane and the map cover the footprint and a margin around it.
constexpr float kMargin = 1.201f;

} // namespace

ContactShadowRender::ContactShadowRender() = default;
ContactShadowRender::~ContactShadowRender() = default;

void ContactShadowRender::Initialize(RenderDevice* device)
{
    if (m_DarkDepthMaterial)
        return;
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    MaterialManager& materials = MaterialManager::Instance();
    m_DarkDepthMaterial = materials.Create("System.DarkDepthMaterial", "ext/dark_depth");
    m_DarkDepthMaterial->SetUniform("darkness", m_Darkness);
    // Open surfaces cast too, whichever way they face.
    m_DarkDepthMaterial->SetFaceSide(FACE_DOUBLE);

    // RGBA8, nearest, clamped: GL_TEXTURE_2D, GL_RGBA8, GL_RGBA,
    // GL_UNSIGNED_BYTE, GL_NEAREST twice, GL_CLAMP_TO_EDGE twice.
    const TextureDesc desc{0x0DE1, 0x8058, 0x1908, 0x1401, 0x2600, 0x2600, 0x812F, 0x812F};
    auto map = TextureTarget::Create(kMapSize, kMapSize, desc);
    auto blur = TextureTarget::Create(kMapSize, kMapSize, desc);
    device->AddTarget(m_MapTargetName, map);
    device->AddTarget(m_BlurTargetName, blur);

    m_HorizontalBlurMaterial = materials.Create("sys.contact.h", "ext/HorizontalBlur");
    m_VerticalBlurMaterial = materials.Create("sys.contact.v", "ext/VerticalBlur");
    m_VerticalBlurMaterial->OrderExempt = false;
    m_VerticalBlurMaterial->RequestUpdate();
    m_VerticalBlurMaterial->SetUniform("tDiffuse", TextureUnit{0});

    auto shade = BasicMaterial::Create("sys.shadow.plane");
    // Black at the map's opacity: the map's colour (white where it was
    // cleared, blurred into the shadow's edge) must not tint the ground.
    shade->SetColor(glm::vec3(0.0f));
    shade->BlendingMode = BLENDING_TRANSPARENT;
    shade->SetOpacity(1.0f);
    shade->DepthWrite = false;
    shade->RequestUpdate();
    shade->AddTexture("map", map->GetTexture());

    // The map is drawn from below with +X to the right: seen from above its
    // rows run along -Y, so the plane reads them with v turned round.
    auto geometry = GeometryBuilder::CreatePlane(1.0f, 1.0f, 1, 1);
    if (const auto& uv = geometry->GetAttribute(ATTRIBUTE_UV)) {
        for (std::size_t i = 0; i < uv->GetCount(); ++i) {
            const glm::vec2 t = uv->GetVec2(i);
            uv->SetVec2(i, glm::vec2(t.x, 1.0f - t.y));
        }
    }
    m_Plane = std::make_shared<PrimitiveSceneNode>(geometry, shade);
    m_Plane->SetCastShadow(false);
    m_Camera = Camera::CreateOrthographic(kMapSize, kMapSize, 1.0f, 0.0f, 100.0f);
}

void ContactShadowRender::SetDarkness(float darkness)
{
    if (!std::isfinite(darkness) || darkness < 0.0f || darkness > 1.0f) {
        Logger::Instance().Waring("Shadow darkness is invalid!");
        return;
    }
    m_Darkness = darkness;
    if (m_DarkDepthMaterial)
        m_DarkDepthMaterial->SetUniform("darkness", darkness);
}

float ContactShadowRender::GetDarkness() const { return m_Darkness; }

bool ContactShadowRender::Place(const AxisAlignedBox& box)
{
    if (!box.isFinite())
        return false;
    const glm::vec3 size = box.getSize();
    float sx = size.x * kMargin;
    float sy = size.y * kMargin;
    if (!(std::max(sx, sy) > 0.0f) || !std::isfinite(sx) || !std::isfinite(sy))
        return false; // a point or an upright line: no footprint
    // A footprint flat along one axis still gets one texel of width.
    const float least = std::max(sx, sy) / float(kMapSize);
    sx = std::max(sx, least);
    sy = std::max(sy, least);
    const float height = std::max(size.z, least);

    // The viewport keeps the footprint's proportions (512 wide); the map
    // target stays square and takes the view whole.
    const float rows = std::min(float(kMapSize) * sy / sx, float(1u << 20));
    m_Camera->Resize(kMapSize, std::max(1u, unsigned(rows)));
    CameraOperator::SetStandardView(m_Camera, STANDARD_VIEW_BOTTOM, box, 1.2f);
    // From the lowest point straight up, at the distance where the view is
    // the footprint high: depth 0 at the ground, 1 at the model's top.
    const glm::vec3 centre = box.getCenter();
    const float distance = 0.5f * sy / std::tan(0.5f * m_Camera->GetFov());
    const glm::vec3 eye(centre.x, centre.y, box.getMinimum().z - 1e-3f * height);
    m_Camera->LookAt(eye, eye + glm::vec3(0.0f, 0.0f, distance), m_Camera->GetUp());
    m_Camera->SetClipRange(0.0f, height * 1.002f);

    m_Plane->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(centre.x, centre.y, box.getMinimum().z)) *
                          glm::scale(glm::mat4(1.0f), glm::vec3(sx, sy, 1.0f)));
    m_Plane->UpdateTransform(glm::mat4(1.0f));
    return true;
}

void ContactShadowRender::Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device)
{
    if (!device) {
        Logger::Instance().Waring("Device is null!");
        return;
    }
    if (!manager || !m_DarkDepthMaterial)
        return;
    const std::shared_ptr<RenderTarget> map = device->FindTarget(m_MapTargetName);
    if (!map || !device->FindTarget(m_BlurTargetName)) {
        Logger::Instance().Waring("Render target is null!");
        return;
    }
    const std::shared_ptr<RenderTarget> previous = device->GetTarget();
    m_HasShadow = Place(manager->GetSceneBBox());
    if (m_HasShadow)
        CollectCasters(*manager, m_Camera, m_Casters);
    else
        m_Casters.Reset();
    float blur = device->GetSettings().ContactShadowBlur;
    if (!std::isfinite(blur) || blur < 0.0f) {
        if (!m_WarnedBlur)
            Logger::Instance().Waring("Shadow blur is invalid!");
        m_WarnedBlur = true;
        blur = 0.0f;
    }
    // The map depends on the model alone, not on the view: while the
    // casters, their geometry and places, the footprint and the settings
    // stay the same, the map of the last frame is still right.
    const uint64_t signature = Signature(blur);
    if (m_MapValid && signature == m_Signature && map == m_DrawnMap)
        return;
    m_Signature = signature;
    m_DrawnMap = map;
    m_MapValid = true;
    ++m_MapDrawCount;

    device->SetTarget(map, m_Camera);
    device->SetClearColor(glm::vec4(1.0f, 1.0f, 1.0f, 0.0f));
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    if (m_HasShadow) {
        device->ActiveMaterial(m_DarkDepthMaterial);
        m_Batch.Update(m_Casters);
        m_Batch.Draw(device);
    }
    Blur(device, blur);
    Blur(device, 0.4f * blur);
    device->SetTarget(previous, manager->GetCamera());
}

uint64_t ContactShadowRender::Signature(float blur) const
{
    // FNV-1a over 64-bit words: the settings, the camera's view, then each
    // caster's objects, versions and world matrix.
    uint64_t hash = 14695981039346656037ull;
    const auto mix = [&hash](uint64_t word) {
        hash ^= word;
        hash *= 1099511628211ull;
    };
    const auto bits = [](float value) {
        uint32_t word = 0;
        std::memcpy(&word, &value, sizeof(word));
        return uint64_t(word);
    };
    mix(uint64_t(m_HasShadow));
    mix(bits(blur));
    mix(bits(m_Darkness));
    const glm::mat4 view = m_Camera->GetViewProjectionMatrix();
    for (int i = 0; i < 16; ++i)
        mix(bits(glm::value_ptr(view)[i]));
    mix(m_Casters.GetItemCount());
    for (uint64_t i = 0; i < m_Casters.GetItemCount(); ++i) {
        const RenderItem& item = m_Casters.GetAt(i);
        const PrimitiveShape* primitive = item.GetPrimitive();
        mix(primitive->GetObjectId());
        mix(primitive->GetUpdateVersion());
        if (const BufferGeometry* geometry = primitive->GetGeometry().get()) {
            mix(geometry->GetObjectId());
            // Attributes by address, size and version (a geometry's
            // attributes are replaced through the geometry, whose id stays).
            const auto& positions = geometry->GetPositions();
            mix(reinterpret_cast<uintptr_t>(positions.get()));
            mix(positions ? (uint64_t(positions->GetCount()) << 32 | positions->GetVersion()) : 0u);
            const auto& index = geometry->GetIndex();
            mix(reinterpret_cast<uintptr_t>(index.get()));
            mix(index ? (uint64_t(index->GetCount()) << 32 | index->GetVersion()) : 0u);
        }
        const float* matrix = glm::value_ptr(item.GetTransform());
        for (int k = 0; k < 16; k += 2)
            mix(bits(matrix[k]) << 32 | bits(matrix[k + 1]));
    }
    return hash;
}

void ContactShadowRender::Blur(RenderDevice* device, float amount)
{
    const std::shared_ptr<RenderTarget> map = device->FindTarget(m_MapTargetName);
    const std::shared_ptr<RenderTarget> blur = device->FindTarget(m_BlurTargetName);
    // Each pass covers its whole target with a quad that reads the other.
    device->SetTarget(blur, m_Camera);
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    m_HorizontalBlurMaterial->SetUniform("h", amount / 256.0f);
    device->ActiveMaterial(m_HorizontalBlurMaterial);
    device->ActiveTexture(0, map, kColorAttachment);
    device->DrawScreenQuad();

    device->SetTarget(map, m_Camera);
    device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH);
    m_VerticalBlurMaterial->SetUniform("v", amount / 256.0f);
    device->ActiveMaterial(m_VerticalBlurMaterial);
    device->ActiveTexture(0, blur, kColorAttachment);
    device->DrawScreenQuad();
}

void ContactShadowRender::DrawPlane(RenderDevice* device)
{
    if (!device || !m_Plane || !m_HasShadow)
        return;
    device->ActiveMaterial(m_Plane->GetMaterial());
    device->Draw(m_Plane->GetPrimitive().get(), m_Plane->GetWorldTransform());
}

} // namespace orvcore
