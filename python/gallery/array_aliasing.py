"""Lines too far apart for an array migration: the section across the slab's lines, of all of them and of every other
one, with and without anti-aliasing."""
import matplotlib.pyplot as plt
import numpy as np
import tzm
from draw import prepared, save

every = prepared("FkMigration")  # behind the bistatic correction, so that all lines are alike
other = tzm.Recording(every.data[::2].copy(), delta_x=every.delta_x, permittivity=every.permittivity, time_zero=0)
images = {
    "lines 5 cm apart": (every, 0.05, True),
    "10 cm apart, without anti-aliasing": (other, 0.10, False),
    "10 cm apart": (other, 0.10, True),
}
figure, axes = plt.subplots(len(images), 1, figsize=(9, 9), layout="constrained", sharex=True)
for ax, (title, (lines, spacing, anti_alias)) in zip(axes, images.items()):
    migration = tzm.ArrayMigration(
        wavelet="corrected", line_spacing=spacing, antenna_offset_mono=0, antenna_offset_bi=0, anti_alias=anti_alias,
        lines=2 * 35 - 1 if spacing < 0.1 else 4 * 18 - 3,  # 2.5 cm apart
    )
    image = tzm.Envelope()(migration(lines))
    section = np.asarray(image.data)[:, 45:55].mean(1).T  # between two bars across the scan
    width, depth = spacing * (len(lines.data) - 1), image.depth[-1]
    ax.imshow(section, extent=(0, width, depth, 0), aspect="auto", cmap="inferno", vmax=np.quantile(section, 0.998))
    ax.set(title=title, ylabel="depth (m)", ylim=(0.5, 0))
axes[-1].set_xlabel("across (m)")
save(figure)
