#!/usr/bin/python3
"""Writes the volume readers' test inputs into OUTDIR with independent tools: NIfTI files with
nibabel, DICOM series with pydicom. The values and geometry the tests expect are tabled in
test_volume_readers.cpp; keep both in step.

usage: make_volume_fixtures.py OUTDIR
"""
import gzip
import os
import sys
import warnings

import nibabel as nib
import numpy as np
import pydicom
from nibabel.volumeutils import array_to_file
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import ExplicitVRLittleEndian, generate_uid

warnings.simplefilter("ignore")
OUT = sys.argv[1]
SHAPE = (4, 3, 2)  # nx, ny, nz
# value of voxel (i, j, k) = base + i + 4 j + 12 k
INDEX = np.arange(24).reshape(SHAPE, order="F")
BASES = {
    "uint8": 0, "int8": -10, "int16": -1000, "uint16": 60000, "int32": -100000,
    "uint32": 3000000000, "int64": -5000000000, "uint64": 10000000000,
    "float32": 0.5, "float64": -0.25,
}


def nifti(name, data, affine=None, cls=nib.Nifti1Image, dtype=None, setup=None):
    img = cls(data, affine, dtype=dtype or data.dtype)
    img.set_data_dtype(dtype or data.dtype)
    if setup:
        setup(img)
    img.to_filename(os.path.join(OUT, name))


def raw_nifti(name, shape, dtype, data=None, setup=None):
    """A header with fields set as given, not as nibabel would derive them."""
    hdr = nib.Nifti1Header()
    hdr.set_data_shape(shape)
    hdr.set_data_dtype(dtype)
    if setup:
        setup(hdr)
    with open(os.path.join(OUT, name), "wb") as f:
        hdr.write_to(f)
        if data is not None:
            array_to_file(data, f, dtype, offset=hdr.get_data_offset())


def write_nifti():
    for name, base in BASES.items():
        data = (INDEX + np.array(base)).astype(name)
        nifti(f"type_{name}.nii", data, np.eye(4))
    nifti("type_int16.nii.gz", (INDEX - 1000).astype(np.int16), np.eye(4))
    nifti("type_float32_v2.nii", (INDEX + 0.5).astype(np.float32), np.eye(4), nib.Nifti2Image)
    nib.save(nib.Nifti1Pair((INDEX + 0).astype(np.uint8), np.eye(4)),
             os.path.join(OUT, "pair.img"))
    # Real values stored as int16: nibabel picks a slope and an intercept.
    nifti("scaled.nii", INDEX * 0.25 + 1000.5, np.eye(4), dtype=np.int16)
    # Slope 0: no scaling, whatever the intercept says.
    def zero_slope(hdr):
        hdr["scl_slope"] = 0
        hdr["scl_inter"] = 7
    raw_nifti("slope_zero.nii", SHAPE, np.int16, INDEX.astype(np.int16), zero_slope)

    # Geometry: sform wins over qform; qform alone; neither (pixel sizes); metres.
    rot = np.array([[np.cos(0.5), -np.sin(0.5), 0], [np.sin(0.5), np.cos(0.5), 0], [0, 0, 1]])
    qaff = np.eye(4)
    qaff[:3, :3] = rot @ np.diag([2.0, 3.0, 4.0])
    qaff[:3, 3] = [10, -20, 30]
    saff = np.array([[0, 0, 1.5, -5], [-2, 0, 0.5, 6], [0, 2.5, 0, 7], [0, 0, 0, 1]])
    data = INDEX.astype(np.uint8)

    def both(img):
        img.set_qform(qaff, code=1)
        img.set_sform(saff, code=2)
    nifti("geom_sform.nii", data, None, setup=both)

    def qform_only(img):
        img.set_qform(qaff, code=1)
        img.set_sform(saff, code=0)
    nifti("geom_qform.nii", data, None, setup=qform_only)

    def neither(img):
        img.set_qform(qaff, code=0)
        img.set_sform(saff, code=0)
        img.header.set_zooms((2.0, 3.0, 4.0))
    nifti("geom_none.nii", data, None, setup=neither)

    def metres(img):
        img.set_sform(np.diag([0.002, 0.003, 0.004, 1.0]), code=2)
        img.set_qform(None, code=0)
        img.header.set_xyzt_units("meter")
    nifti("geom_metres.nii", data, None, setup=metres)

    # Broken files.
    good = os.path.join(OUT, "type_int16.nii")
    blob = open(good, "rb").read()
    open(os.path.join(OUT, "bad_truncated.nii"), "wb").write(blob[: len(blob) - 20])
    open(os.path.join(OUT, "bad_header_only.nii"), "wb").write(blob[:352])
    open(os.path.join(OUT, "bad_garbage.nii"), "wb").write(bytes(range(256)) * 3)
    # Large enough that the header survives the damage to the compressed voxels.
    noise = np.random.default_rng(1).integers(-1000, 1000, (64, 64, 16)).astype(np.int16)
    nifti("big.nii.gz", noise, np.eye(4))
    gz = open(os.path.join(OUT, "big.nii.gz"), "rb").read()
    os.remove(os.path.join(OUT, "big.nii.gz"))
    open(os.path.join(OUT, "bad_truncated.nii.gz"), "wb").write(gz[: len(gz) // 2])
    corrupt = bytearray(gz)
    corrupt[len(corrupt) // 2:] = bytes(len(corrupt) - len(corrupt) // 2)
    open(os.path.join(OUT, "bad_corrupt.nii.gz"), "wb").write(bytes(corrupt))
    os.makedirs(os.path.join(OUT, "bad_folder.nii"), exist_ok=True)
    # Headers that promise more than is there, or absurd sizes; a few bytes of data each.
    tiny = np.zeros(8, np.int16)
    raw_nifti("bad_promises_more.nii", (512, 512, 512), np.int16, tiny)
    raw_nifti("bad_gz_promises_more.nii", (512, 512, 512), np.int16, tiny)
    with open(os.path.join(OUT, "bad_gz_promises_more.nii"), "rb") as f:
        open(os.path.join(OUT, "bad_gz_promises_more.nii.gz"), "wb").write(gzip.compress(f.read()))
    os.remove(os.path.join(OUT, "bad_gz_promises_more.nii"))

    def set_dim(values):
        def setup(hdr):
            hdr["dim"][1:4] = values
        return setup
    raw_nifti("bad_dim_zero.nii", (2, 2, 2), np.int16, tiny, set_dim([2, 0, 2]))
    raw_nifti("bad_dim_negative.nii", (2, 2, 2), np.int16, tiny, set_dim([2, -4, 2]))
    raw_nifti("bad_side_too_long.nii", (5000, 1, 1), np.uint8, tiny)
    raw_nifti("bad_too_many_voxels.nii", (4000, 4000, 4000), np.uint8, tiny)

    def offset_beyond(hdr):
        hdr["vox_offset"] = 1 << 40
    raw_nifti("bad_offset_beyond.nii", (2, 2, 2), np.int16, None, offset_beyond)

    def nan_sform(hdr):
        hdr.set_sform(np.eye(4), code=2)
        hdr["srow_y"][1] = np.nan
    raw_nifti("bad_nan_sform.nii", (2, 2, 2), np.int16, tiny, nan_sform)

    def inf_qform(hdr):
        hdr.set_qform(np.eye(4), code=1)
        hdr["qoffset_x"] = np.inf
    raw_nifti("bad_inf_qform.nii", (2, 2, 2), np.int16, tiny, inf_qform)
    nifti("bad_complex.nii", np.zeros((2, 2, 2), np.complex64), np.eye(4))
    rgb = np.zeros((2, 2, 2), dtype=[("R", "u1"), ("G", "u1"), ("B", "u1")])
    nifti("bad_rgb.nii", rgb, np.eye(4))


# DICOM ---------------------------------------------------------------------------------------
CT_STORAGE = "1.2.840.10008.5.1.4.1.1.2"


def dicom_slice(path, series_uid, ipp, iop, pixels, spacing=(0.5, 0.75), slope=None,
                intercept=None, number=1, description="Test series"):
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = CT_STORAGE
    meta.MediaStorageSOPInstanceUID = generate_uid()
    meta.TransferSyntaxUID = ExplicitVRLittleEndian
    ds = FileDataset(path, {}, file_meta=meta, preamble=b"\0" * 128)
    ds.is_little_endian = True
    ds.is_implicit_VR = False
    ds.SOPClassUID = CT_STORAGE
    ds.SOPInstanceUID = meta.MediaStorageSOPInstanceUID
    ds.Modality = "CT"
    ds.StudyInstanceUID = "1.2.826.0.1.3680043.8.498.1"
    ds.SeriesInstanceUID = series_uid
    ds.SeriesDescription = description
    ds.SeriesNumber = 1
    ds.InstanceNumber = number
    ds.ImagePositionPatient = [float(v) for v in ipp]
    ds.ImageOrientationPatient = [float(v) for v in iop]
    ds.PixelSpacing = list(spacing)
    ds.SliceThickness = 2.0
    ds.SamplesPerPixel = 1
    ds.PhotometricInterpretation = "MONOCHROME2"
    ds.Rows, ds.Columns = pixels.shape
    ds.BitsAllocated = 16
    ds.BitsStored = 16
    ds.HighBit = 15
    ds.PixelRepresentation = 1 if pixels.dtype == np.int16 else 0
    if slope is not None:
        ds.RescaleSlope = slope
        ds.RescaleIntercept = intercept
    ds.PixelData = pixels.tobytes()
    ds.save_as(path, write_like_original=False)


def series(folder, positions, iop, rows=3, cols=5, dtype=np.int16, slope=None, intercept=None,
           uid=None, names=None, description="Test series"):
    path = os.path.join(OUT, folder)
    os.makedirs(path, exist_ok=True)
    uid = uid or generate_uid()
    for k, ipp in enumerate(positions):
        # pixel (column c, row r) of the k-th slice in position order: 100 k + 10 r + c
        pixels = (np.arange(cols)[None, :] + 10 * np.arange(rows)[:, None] + 100 * k).astype(dtype)
        name = names[k] if names else f"img{(7 * k) % len(positions):03d}.dcm"
        dicom_slice(os.path.join(path, name), uid, ipp, iop, pixels, slope=slope,
                    intercept=intercept, number=k + 1, description=description)
    return path


AXIAL = [1, 0, 0, 0, 1, 0]
# Rows along (0.6, 0.8, 0), columns along (0, 0, -1): an oblique coronal-ish plane.
OBLIQUE = [0.6, 0.8, 0, 0, 0, -1]


def write_dicom():
    series("dcm_axial", [(-10, 20, 5 + 2 * k) for k in range(4)], AXIAL, slope=2, intercept=-1024)
    # Normal of OBLIQUE: (0.6, 0.8, 0) x (0, 0, -1) = (-0.8, 0.6, 0); slices 1.5 mm apart.
    series("dcm_oblique", [(3 - 1.2 * k, 4 + 0.9 * k, 50) for k in range(3)], OBLIQUE,
           dtype=np.uint16)

    empty = os.path.join(OUT, "dcm_no_images")
    os.makedirs(empty, exist_ok=True)
    open(os.path.join(empty, "README.txt"), "w").write("not an image\n")
    mixed = series("dcm_mixed", [(0, 0, k) for k in range(2)], AXIAL, uid="1.2.3.4.1",
                   description="Head")
    series("dcm_mixed", [(0, 0, k) for k in range(2)], AXIAL, uid="1.2.3.4.2",
           names=["b0.dcm", "b1.dcm"], description="Neck")
    del mixed
    sizes = series("dcm_sizes", [(0, 0, k) for k in range(2)], AXIAL, uid="1.2.3.5")
    series("dcm_sizes", [(0, 0, 2)], AXIAL, rows=4, uid="1.2.3.5", names=["c.dcm"])
    del sizes
    series("dcm_orientations", [(0, 0, k) for k in range(2)], AXIAL, uid="1.2.3.6")
    series("dcm_orientations", [(0, 0, 2)], [1, 0, 0, 0, 0.8, 0.6], uid="1.2.3.6",
           names=["c.dcm"])
    series("dcm_duplicate", [(0, 0, 0), (0, 0, 1), (0, 0, 1)], AXIAL)
    series("dcm_gap", [(0, 0, 0), (0, 0, 1), (0, 0, 3)], AXIAL)
    truncated = series("dcm_truncated", [(0, 0, k) for k in range(3)], AXIAL)
    victim = os.path.join(truncated, sorted(os.listdir(truncated))[1])
    blob = open(victim, "rb").read()
    open(victim, "wb").write(blob[:-20])
    # Slices 2 and 4 in position order hold too few pixels; their names sort the other way.
    bad = series("dcm_bad_pixels", [(0, 0, k) for k in range(6)], AXIAL,
                 names=[f"s{5 - k}.dcm" for k in range(6)])
    for name in ("s3.dcm", "s1.dcm"):
        ds = pydicom.dcmread(os.path.join(bad, name))
        ds.PixelData = ds.PixelData[:8]
        ds.save_as(os.path.join(bad, name), write_like_original=False)
    many = os.path.join(OUT, "dcm_too_many")
    os.makedirs(many, exist_ok=True)
    for n in range(5001):
        open(os.path.join(many, f"f{n:05d}"), "wb").close()


os.makedirs(OUT, exist_ok=True)
write_nifti()
write_dicom()
