#!/usr/bin/env python3
"""Writes the small model seeds of model_fuzzer into fuzz/corpus/model.

Each seed starts with the byte that tells the harness the format (s STL,
o OBJ, p PLY, g glTF, b GLB, m 3MF); the files are checked in, so this only
needs running again after a change here."""
import base64, io, json, os, struct, zipfile

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "model")

# A tetrahedron: four corners, four faces (outward).
P = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)]
F = [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]


def write(name, tag, data):
    if isinstance(data, str):
        data = data.encode()
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(tag + data)


def stl_ascii():
    out = ["solid tet"]
    for a, b, c in F:
        out += ["facet normal 0 0 0", " outer loop"]
        out += [" vertex %g %g %g" % P[i] for i in (a, b, c)]
        out += [" endloop", "endfacet"]
    return "\n".join(out + ["endsolid tet", ""])


def stl_binary():
    data = b"tet".ljust(80, b" ") + struct.pack("<I", len(F))
    for face in F:
        data += struct.pack("<3f", 0, 0, 0)
        for i in face:
            data += struct.pack("<3f", *P[i])
        data += b"\0\0"
    return data


OBJ = """mtllib cube.mtl
o cube
v -1 -1 -1
v 1 -1 -1
v 1 1 -1
v -1 1 -1
v -1 -1 1
v 1 -1 1
v 1 1 1
v -1 1 1
vn 0 0 1
vt 0 0
g top
usemtl red
s 1
f 5/1/1 6/1/1 7/1/1 8/1/1
g sides
f 1 4 3 2
f 1 2 6 5
f 2 3 7 6
f 3 4 8 7
f -4 -8 -5 -1
l 1 7
"""

PLY_ASCII = """ply
format ascii 1.0
comment tetrahedron
element vertex 4
property float x
property float y
property float z
property uchar red
property uchar green
property uchar blue
element face 4
property list uchar int vertex_indices
end_header
""" + "".join("%g %g %g 200 100 50\n" % p for p in P) + "".join("3 %d %d %d\n" % f for f in F)


def ply_binary():
    head = ("ply\nformat binary_little_endian 1.0\nelement vertex 4\nproperty float x\n"
            "property float y\nproperty float z\nproperty float nx\nproperty float ny\nproperty float nz\n"
            "element face 4\nproperty list uchar uint vertex_indices\nend_header\n").encode()
    body = b"".join(struct.pack("<6f", *p, 0, 0, 1) for p in P)
    body += b"".join(struct.pack("<B3I", 3, *f) for f in F)
    return head + body


def gltf_parts():
    positions = b"".join(struct.pack("<3f", *p) for p in P)
    indices = b"".join(struct.pack("<3H", *f) for f in F)
    blob = positions + indices
    doc = {
        "asset": {"version": "2.0"},
        "scene": 0,
        "scenes": [{"nodes": [0]}],
        "nodes": [{"name": "part", "children": [1], "translation": [1, 0, 0]},
                  {"name": "tet", "mesh": 0, "matrix": [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 2, 1]}],
        "meshes": [{"name": "tet", "primitives": [{"attributes": {"POSITION": 0}, "indices": 1, "material": 0}]}],
        "materials": [{"name": "blue", "pbrMetallicRoughness": {"baseColorFactor": [0.1, 0.2, 0.8, 1]}}],
        "buffers": [{"byteLength": len(blob)}],
        "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": len(positions)},
                        {"buffer": 0, "byteOffset": len(positions), "byteLength": len(indices)}],
        "accessors": [{"bufferView": 0, "componentType": 5126, "count": 4, "type": "VEC3",
                       "min": [0, 0, 0], "max": [1, 1, 1]},
                      {"bufferView": 1, "componentType": 5123, "count": 12, "type": "SCALAR"}],
    }
    return doc, blob


def gltf():
    doc, blob = gltf_parts()
    doc["buffers"][0]["uri"] = "data:application/octet-stream;base64," + base64.b64encode(blob).decode()
    return json.dumps(doc, separators=(",", ":"))


def glb():
    doc, blob = gltf_parts()
    text = json.dumps(doc, separators=(",", ":")).encode()
    text += b" " * (-len(text) % 4)
    blob += b"\0" * (-len(blob) % 4)
    chunks = struct.pack("<I4s", len(text), b"JSON") + text + struct.pack("<I4s", len(blob), b"BIN\0") + blob
    return struct.pack("<4sII", b"glTF", 2, 12 + len(chunks)) + chunks


def threemf():
    model = ('<?xml version="1.0" encoding="UTF-8"?>\n'
             '<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02">'
             '<resources><basematerials id="1"><base name="red" displaycolor="#FF0000"/></basematerials>'
             '<object id="2" type="model" pid="1" pindex="0"><mesh><vertices>'
             + "".join('<vertex x="%g" y="%g" z="%g"/>' % p for p in P) +
             '</vertices><triangles>'
             + "".join('<triangle v1="%d" v2="%d" v3="%d"/>' % f for f in F) +
             '</triangles></mesh></object></resources>'
             '<build><item objectid="2" transform="1 0 0 0 1 0 0 0 1 5 0 0"/></build></model>')
    types = ('<?xml version="1.0" encoding="UTF-8"?>'
             '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
             '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
             '<Default Extension="model" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>'
             '</Types>')
    rels = ('<?xml version="1.0" encoding="UTF-8"?>'
            '<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">'
            '<Relationship Target="/3D/3dmodel.model" Id="rel0" '
            'Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/></Relationships>')
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_DEFLATED) as z:
        for name, text in (("[Content_Types].xml", types), ("_rels/.rels", rels), ("3D/3dmodel.model", model)):
            info = zipfile.ZipInfo(name, (2020, 1, 1, 0, 0, 0))
            info.compress_type = zipfile.ZIP_DEFLATED
            z.writestr(info, text)
    return buffer.getvalue()


os.makedirs(OUT, exist_ok=True)
write("tet-ascii.stl", b"s", stl_ascii())
write("tet-binary.stl", b"S", stl_binary())
write("cube.obj", b"o", OBJ)
write("tet-ascii.ply", b"p", PLY_ASCII)
write("tet-binary.ply", b"P", ply_binary())
write("tet.gltf", b"g", gltf())
write("tet.glb", b"b", glb())
write("tet.3mf", b"m", threemf())
