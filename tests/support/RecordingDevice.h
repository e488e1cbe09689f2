#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/GpuShaderProgram.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/material/MaterialTemplate.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/texture/Texture.h>

namespace orvtest {

/// Hexadecimal text of a bit set ("0x4500").
inline std::string Hex(uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof(text), "0x%X", unsigned(value));
    return text;
}

/// A shader program that writes "SetUniform(<name>)" into a call log and
/// keeps the last value of every uniform. It declares every uniform.
class RecordingProgram : public orvcore::GpuShaderProgram {
public:
    explicit RecordingProgram(std::vector<std::string>& calls) : m_Calls(calls) {}

    void SetUniform(const std::string& name, const orvcore::UniformValue& value) override
    {
        m_Calls.push_back("SetUniform(" + name + ")");
        uniforms[name] = value;
    }
    bool HasUniform(const std::string&) const override { return true; }

    /// The last value set under a name, or null.
    const orvcore::UniformValue* Find(const std::string& name) const
    {
        const auto it = uniforms.find(name);
        return it == uniforms.end() ? nullptr : &it->second;
    }

    std::map<std::string, orvcore::UniformValue> uniforms;

private:
    std::vector<std::string>& m_Calls;
};

/// A render device without GPU that records every call as readable text in
/// `calls`, e.g. "SetTarget(shadow.map.0)", "ClearBuffers(0x4100)",
/// "ActiveMaterial(System.DepthMaterial)", "SetCamera". Queries (getters,
/// `FindTarget`) are not recorded. Material activation returns the recording
/// program when the material exists and has a template, else null.
class RecordingDevice : public orvcore::RenderDevice {
public:
    explicit RecordingDevice(unsigned int w = 800, unsigned int h = 600) : width(w), height(h) {}
    // The program logs into `calls`: a copy would log into the original.
    RecordingDevice(const RecordingDevice&) = delete;
    RecordingDevice& operator=(const RecordingDevice&) = delete;

    // --- recording helpers ---

    void Clear()
    {
        calls.clear();
        program.uniforms.clear();
    }
    /// The calls whose text starts with `prefix`, in order.
    std::vector<std::string> CallsStartingWith(const std::string& prefix) const { return Filter(prefix, true); }
    std::size_t Count(const std::string& prefix) const { return CallsStartingWith(prefix).size(); }
    /// The calls without those starting with `prefix` (e.g. without uniforms).
    std::vector<std::string> CallsWithout(const std::string& prefix) const { return Filter(prefix, false); }
    /// The name under which a target was added, "screen" for none.
    std::string TargetName(const std::shared_ptr<orvcore::RenderTarget>& t) const
    {
        for (const auto& entry : targets)
            if (entry.second == t)
                return entry.first;
        return t ? "unnamed" : "screen";
    }

    // --- RenderDevice ---

    using Program = orvcore::GpuShaderProgram;
    using Material = orvcore::MaterialInstance;
    using Target = std::shared_ptr<orvcore::RenderTarget>;
    unsigned int GetWidth() const override { return width; }
    unsigned int GetHeight() const override { return height; }
    void Resize(unsigned int w, unsigned int h) override
    {
        Log("Resize", w, h);
        width = w;
        height = h;
    }
    void SetCamera(const std::shared_ptr<orvcore::Camera>& c) override
    {
        calls.push_back("SetCamera");
        camera = c;
    }
    const std::shared_ptr<orvcore::Camera>& GetCamera() const override { return camera; }
    void SetTarget(const Target& t, const std::shared_ptr<orvcore::Camera>& c) override
    {
        Log("SetTarget", TargetName(t));
        previousTarget = target;
        target = t;
        targetCamera = c;
    }
    const Target& GetTarget() const override { return target; }
    const Target& GetPreviousTarget() const override { return previousTarget; }
    void AddTarget(const std::string& name, const Target& t) override
    {
        Log("AddTarget", name);
        targets[name] = t;
    }
    Target FindTarget(const std::string& n) const override { return targets.count(n) ? targets.at(n) : nullptr; }
    void SetClearColor(const glm::vec4& c) override { Log("SetClearColor", c.r, c.g, c.b, c.a); }
    void ClearBuffers(uint32_t bits) override { Log("ClearBuffers", Hex(bits)); }
    void SetDepthTest(bool on) override { Log("SetDepthTest", on); }
    void SetPolygonOffset(bool on, float f, float u) override { Log("SetPolygonOffset", on, f, u); }
    Program* ActiveMaterial(const std::shared_ptr<Material>& m) override { return Activate("ActiveMaterial", m.get()); }
    Program* _ActiveMaterial(Material* m) override { return Activate("_ActiveMaterial", m); }
    Program* ActiveShader(Material* m) override { return Activate("ActiveShader", m); }
    void ActiveTexture(uint32_t unit, const std::shared_ptr<orvcore::Texture>& t) override
    {
        Log("ActiveTexture", unit, Id(t.get()));
    }
    void ActiveTexture(uint32_t unit, const Target& t, uint32_t attachment) override
    {
        Log("ActiveTexture", unit, TargetName(t), Hex(attachment));
    }
    void Draw(orvcore::PrimitiveShape* p, const glm::mat4&) override
    {
        Log("Draw", Id(p));
        CountUploads(p);
    }
    void Draw(orvcore::BufferGeometry* g, uint32_t start, uint32_t n) override { Log("DrawGeometry", Id(g), start, n); }
    void DrawPoint(const glm::vec3& p) override { Log("DrawPoint", p.x, p.y, p.z); }
    void DrawScreenQuad() override { calls.push_back("DrawScreenQuad"); }
    void BuildTemplate(const std::shared_ptr<orvcore::MaterialTemplate>& t) override
    {
        Log("BuildTemplate", t ? t->GetName() : "null");
    }
    void Gc() override { calls.push_back("Gc"); }

    // --- state, public for tests ---

    std::vector<std::string> calls;
    RecordingProgram program{calls};
    unsigned int width;
    unsigned int height;
    std::shared_ptr<orvcore::Camera> camera;
    std::shared_ptr<orvcore::RenderTarget> target;
    std::shared_ptr<orvcore::RenderTarget> previousTarget;
    /// The camera given with the last `SetTarget`.
    std::shared_ptr<orvcore::Camera> targetCamera;
    std::map<std::string, std::shared_ptr<orvcore::RenderTarget>> targets;
    /// Vertex bytes the OpenGL device would send for the primitives drawn:
    /// a new or resized attribute whole, a changed one by the ranges its
    /// writes named (`BufferAttribute::GetChangedByteRanges`), else whole.
    std::size_t uploadedBytes = 0;

private:
    struct UploadedCopy {
        std::weak_ptr<orvcore::BufferAttribute> source;
        uint32_t version = 0;
        std::size_t byteSize = 0;
    };
    std::map<std::pair<uint32_t, uint32_t>, UploadedCopy> m_Copies; // (geometry id, slot)

    void CountUploads(const orvcore::PrimitiveShape* p)
    {
        if (!p || !p->GetGeometry())
            return;
        std::vector<orvcore::ItemRange> items;
        std::vector<orvcore::ByteRange> bytes;
        for (uint32_t slot = 0; slot < orvcore::ATTRIBUTE_SLOT_COUNT; ++slot) {
            const auto& attribute = p->GetGeometry()->GetAttribute(slot);
            if (!attribute || attribute->GetCount() == 0)
                continue;
            const std::size_t size = (attribute->GetCount() - 1) * attribute->GetByteStride() +
                                     orvcore::DataTypeSize(attribute->GetDataType()) * attribute->GetItemSize();
            UploadedCopy& copy = m_Copies[{p->GetGeometry()->GetObjectId(), slot}];
            const bool same = !copy.source.expired() && copy.source.lock() == attribute && copy.byteSize == size;
            if (same && copy.version == attribute->GetVersion())
                continue;
            if (same && attribute->GetChangedByteRanges(copy.version, items, bytes)) {
                for (const orvcore::ByteRange& range : bytes)
                    uploadedBytes += range.size;
            } else {
                uploadedBytes += size;
            }
            copy = UploadedCopy{attribute, attribute->GetVersion(), size};
        }
    }

    /// Records "name(a,b,...)"; booleans as 1 and 0, numbers as "%g" writes them.
    template <typename... Args>
    void Log(const std::string& name, const Args&... args)
    {
        std::ostringstream text;
        text << name << '(';
        const char* separator = "";
        ((text << separator << args, separator = ","), ...);
        calls.push_back(text.str() + ')');
    }
    static std::string Id(const orvcore::GfxObject* object)
    {
        return object ? std::to_string(object->GetObjectId()) : "null";
    }
    Program* Activate(const char* call, Material* material)
    {
        Log(call, material ? material->GetName() : "null");
        return material && material->GetTemplate() ? &program : nullptr;
    }
    std::vector<std::string> Filter(const std::string& prefix, bool keep) const
    {
        std::vector<std::string> found;
        for (const std::string& call : calls)
            if ((call.compare(0, prefix.size(), prefix) == 0) == keep)
                found.push_back(call);
        return found;
    }
};

} // namespace orvtest
