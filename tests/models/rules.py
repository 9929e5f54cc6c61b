"""The operations' rules once more, as array code: slow, short, and knowing nothing of the system.

Pixels are (H, W), (H, W, 3) or (H, W, 4) with alpha last. Where blue and red differ, `blue` says at which end blue is:
0 first, 2 last. Integer images are given as their four bytes. Outside an image lies the colour of its first pixel with
alpha 1.
"""
import math

import numpy as np

SINGLE = np.float32
OUTSIDE_ALPHA = 1


def colours(image):
    """A view of what is not alpha."""
    return image[..., :3] if image.ndim == 3 else image


def with_alpha_of(image, values):
    """The values as bytes, with the image's alpha where it has one."""
    result = image.copy()
    colours(result)[...] = values
    return result


def quotient(values, divisor):
    """Truncated toward zero; 0 divides by nothing."""
    return np.sign(values) * np.sign(divisor) * (abs(values) // abs(divisor)) if divisor else values


# --- single pixels

def nearest_grey(colour):
    """Index of the grey that is nearest to a colour; the first one of several."""
    return min(range(256), key=lambda i: sum((i - int(c)) ** 2 for c in colour))


def looked_up(image, table):
    return with_alpha_of(image, np.asarray(table)[colours(image)])


def gamma_table(value):
    inverse = float(SINGLE(1) / SINGLE(value))
    norm = math.pow(255.0, inverse) / 255.0
    return np.array([min(255, int(math.pow(float(i), inverse) / norm)) for i in range(256)], np.uint8)


def light_table(brightness, contrast):
    scale, offset = SINGLE(SINGLE(contrast + 100) / SINGLE(100)), SINGLE(brightness + 128)
    values = np.trunc((np.arange(256) - 128).astype(SINGLE) * scale + offset)
    return np.clip(values, 0, 255).astype(np.uint8)


def grey(image):
    """At 8 bits each byte is weighed with the two that follow it in memory; 0 follows the last."""
    if image.ndim == 3:
        return with_alpha_of(image, (colours(image).sum(axis=2, dtype=int) // 3)[..., None])
    run = np.append(image.ravel().astype(int), [0, 0])
    return ((117 * run[:-2] + 601 * run[1:-1] + 306 * run[2:]) >> 10).astype(np.uint8).reshape(image.shape)


def threshold(image, level):
    values = colours(grey(image)).astype(int)
    sums = values.sum(axis=2)[..., None] if image.ndim == 3 else 3 * values
    return with_alpha_of(image, np.where(sums > 3 * level, 255, 0))


def shifted(image, shifts):
    """`shifts` stand in the order of the channels."""
    if image.ndim == 3:
        return with_alpha_of(image, np.clip(colours(image).astype(int) + shifts, 0, 255))
    table = [nearest_grey(np.clip(value + np.asarray(shifts), 0, 255)) for value in range(256)]
    return np.array(table, np.uint8)[image]


def tone(lightness, hue, saturation):
    """Red, green and blue of a hue, in single precision."""
    light, strength = lightness.astype(SINGLE) / SINGLE(255), SINGLE(saturation) / SINGLE(255)
    if saturation == 0:
        return [np.trunc(light * SINGLE(255)).astype(int)] * 3
    high = np.where(light <= SINGLE(0.5), light * (SINGLE(1) + strength), light + strength - light * strength)
    low = SINGLE(2) * light - high
    turn = SINGLE(hue) * SINGLE(360) / SINGLE(255)

    def value(angle):
        if angle > 360:
            angle = angle - SINGLE(360)
        if angle < 0:
            angle = angle + SINGLE(360)
        if angle < 60:
            level = low + (high - low) * angle / SINGLE(60)
        elif angle < 180:
            level = high
        elif angle < 240:
            level = low + (high - low) * (SINGLE(240) - angle) / SINGLE(60)
        else:
            level = low
        return np.trunc(level * SINGLE(255)).astype(int) & 255

    return [value(turn + SINGLE(120)), value(turn), value(turn - SINGLE(120))]


def colourised(image, hue, saturation, blend, blue):
    old = colours(image).astype(int) if image.ndim == 3 else np.repeat(image.astype(int)[..., None], 3, axis=2)
    new = np.stack(tone((old.min(axis=2) + old.max(axis=2) + 1) // 2, hue, saturation), axis=-1)
    new = new if blue == 2 else new[..., ::-1]
    blend = min(max(SINGLE(blend), SINGLE(0)), SINGLE(1))
    if blend <= SINGLE(0.999):
        part = int(blend * SINGLE(256))
        new = (old * (256 - part) + new * part) >> 8
    if image.ndim == 3:
        return with_alpha_of(image, new)
    return np.array([[nearest_grey(colour) for colour in row] for row in new], np.uint8)


def at_key(image, key):
    return (colours(image) == np.asarray(key)).all(axis=2)


# --- windows

def padded(image, size):
    """What a window of that size sees: an even one reaches one further left and up."""
    before, after = size // 2, size - size // 2 - 1
    frame = np.empty((image.shape[0] + before + after, image.shape[1] + before + after) + image.shape[2:], np.int64)
    frame[...] = image[0, 0]
    if image.shape[2:] == (4,):
        frame[..., 3] = OUTSIDE_ALPHA
    frame[before:before + image.shape[0], before:before + image.shape[1]] = image
    return frame


def windows(image, size):
    """One shifted copy for each place of the window, rows outer; the last one gives the alpha."""
    frame = padded(image, size)
    height, width = image.shape[:2]
    return np.stack([frame[y:y + height, x:x + width] for y in range(size) for x in range(size)])


def _of_window(image, size, values):
    result = windows(image, size)[-1].astype(np.uint8)
    colours(result)[...] = values
    return result


def convolved(image, kernel, divisor, offset):
    kernel = np.asarray(kernel, np.int64)
    seen = windows(image, kernel.shape[0])
    seen = seen[..., :3] if image.ndim == 3 else seen
    sums = np.tensordot(kernel.ravel(), seen, 1)
    return _of_window(image, kernel.shape[0], np.clip(quotient(sums, divisor) + offset, 0, 255))


FIXED_KERNELS = {
    "blur": ([[1, 1, 1], [1, 1, 1], [1, 1, 1]], 9, 0),
    "soften": ([[1, 1, 1], [1, 8, 1], [1, 1, 1]], 16, 0),
    "sharpen": ([[-1, -1, -1], [-1, 15, -1], [-1, -1, -1]], 7, 0),
    "emboss": ([[0, 0, -1], [0, 0, 0], [1, 0, 0]], 0, 127),
}
GAUSSIAN_KERNELS = [
    ([[1, 2, 1], [2, 4, 2], [1, 2, 1]], 16, 0),
    ([[0, 1, 2, 1, 0], [1, 3, 4, 3, 1], [2, 4, 8, 4, 2], [1, 3, 4, 3, 1], [0, 1, 2, 1, 0]], 52, 0),
    ([[1, 4, 7, 4, 1], [4, 16, 26, 16, 4], [2, 26, 41, 26, 7], [4, 16, 26, 16, 4], [1, 4, 7, 4, 1]], 273, 0),
    ([[2, 4, 5, 4, 2], [4, 9, 12, 9, 4], [5, 12, 15, 12, 5], [4, 9, 12, 9, 4], [2, 4, 5, 4, 2]], 159, 0),
]


def eroded(image, size):
    return _of_window(image, size, colours(windows(image, size).min(axis=0)))


def dilated(image, size):
    return _of_window(image, size, colours(windows(image, size).max(axis=0)))


def edges(image, size):
    seen = windows(image, size)
    return _of_window(image, size, colours(seen.max(axis=0) - seen.min(axis=0)))


def contour(image):
    """255 less the last neighbour, column by column, whose excess over the centre beats the value held so far."""
    centre = colours(image).astype(int)
    held = np.zeros_like(centre)
    seen = windows(image, 3).reshape((3, 3) + image.shape)
    for x in range(3):
        for y in range(3):
            neighbour = colours(seen[y, x])
            held = np.where(neighbour - centre > held, neighbour, held)
    return with_alpha_of(image, 255 - held)


def brightness(image, blue):
    """The key that ranks colours."""
    if image.ndim == 2:
        return image.astype(int)
    values = image.astype(int)
    return (117 * values[..., blue] + 601 * values[..., 1] + 306 * values[..., 2 - blue]) >> 10


def middle_keys(image, size, blue):
    keys = brightness(windows(image, size), blue) if image.ndim == 3 else windows(image, size)
    return np.sort(keys, axis=0)[size * size // 2]


def last_coefficient(values, kernel, divisor, offset):
    """Integer images: only the last coefficient and the lower right value of each window count."""
    size = len(kernel)
    height, width = values.shape
    result = np.zeros_like(values)
    if height == size or width == size:
        return result
    seen = values[size - 1:height - 1, size - 1:width - 1].astype(np.int64) * int(kernel[-1][-1])
    block = np.clip(quotient(seen, divisor) + offset, 0, 255)
    result[size // 2:size // 2 + height - size, size // 2:size // 2 + width - size] = block
    return result


# --- positions

def quarter_turned(image, angle):
    """A half turn is one column off; what lies before a row in memory, is not told here."""
    if angle == 180:
        return np.roll(image[::-1, ::-1], -1, axis=1)
    return np.rot90(image, -1 if angle == 90 else 1)


def replicated(image, size):
    rows = np.arange(size[1], dtype=SINGLE) * (SINGLE(image.shape[0]) / SINGLE(size[1]))
    columns = np.arange(size[0], dtype=SINGLE) * (SINGLE(image.shape[1]) / SINGLE(size[0]))
    return image[rows.astype(int)][:, columns.astype(int)]


def picked(image, x, y):
    """The pixels at whole positions."""
    height, width = image.shape[:2]
    inside = (x >= 0) & (x < width) & (y >= 0) & (y < height)
    result = image[np.where(inside, y, 0), np.where(inside, x, 0)].copy()
    if image.shape[2:] == (4,):
        result[~inside, 3] = OUTSIDE_ALPHA
    return result


def skewed(image, x_factor, y_factor, pivot):
    height, width = image.shape[:2]
    pivot_x, pivot_y = pivot[0] or width // 2, pivot[1] or height // 2
    y, x = np.mgrid[0:height, 0:width]
    source_x = x.astype(SINGLE) + (y - pivot_y).astype(SINGLE) * SINGLE(x_factor)
    source_y = (x - pivot_x).astype(SINGLE) * SINGLE(y_factor) + y.astype(SINGLE)
    return picked(image, np.trunc(source_x).astype(int), np.trunc(source_y).astype(int))


def circled(image, mode):
    """fish_eye, bulge, swirl, unwrap, wave."""
    height, width = image.shape[:2]
    centre_x, centre_y = width // 2, height // 2
    radius = int(math.sqrt(centre_x ** 2 + centre_y ** 2))
    half = radius // 2
    source_x, source_y = np.full((height, width), -1), np.full((height, width), -1)
    for y in range(height):
        for x in range(width):
            dx, dy = centre_x - x, centre_y - y
            distance = float(np.sqrt(SINGLE(dx * dx + dy * dy)))
            if not distance < radius:
                continue
            angle = math.atan2(dy, dx)
            if mode == "wave":
                source_x[y, x], source_y[y, x] = x + x % 32 - 16, y
                continue
            if mode == "unwrap":
                source_x[y, x] = int(abs(angle * width / 6.2831852))
                source_y[y, x] = int(abs(distance * height / radius))
                continue
            reach = {"fish_eye": distance ** 2 / radius, "bulge": math.sqrt(distance * radius), "swirl": distance}[mode]
            angle += distance / half if mode == "swirl" and distance else 0
            source_x[y, x] = centre_x - int(reach * math.cos(angle))
            source_y[y, x] = centre_y - int(reach * math.sin(angle))
    return picked(image, source_x, source_y)


def mapped(image, x, y, background):
    """Pixels at real positions, truncated; the background outside."""
    height, width = image.shape[:2]
    inside = (x >= 0) & (y >= 0) & (x < width) & (y < height)
    result = np.empty(x.shape + image.shape[2:], np.uint8)
    result[...] = background
    result[inside] = image[y[inside].astype(int), x[inside].astype(int)]
    return result


def _j1(x):
    """Bessel function of order 1 by its integral."""
    turns = (np.arange(4000) + 0.5) * math.pi / 4000
    return np.cos(turns - x[..., None] * np.sin(turns)).mean(axis=-1)


def _cubic(t, inner, outer, sign=1.0):
    a = abs(t)
    return np.where(a < 1, np.polyval(inner, a), np.where(a < 2, np.polyval(outer, a), 0)) * sign


def _over(t, whole):
    """f(t) / t with its value at 0."""
    safe = np.where(t == 0, 1, t)
    return np.where(t == 0, whole, 1 / safe)


SAMPLING = {
    "b_spline": lambda t: _cubic(t, [0.5, -1, 0, 2 / 3], [-1 / 6, 1, -2, 4 / 3]),
    "bicubic_sharp": lambda t: _cubic(t, [1, -2, 0, 1], [-1, 5, -8, 4]),
    "catmull_rom": lambda t: _cubic(t, [1.5, -2.5, 0, 1], [-0.5, 2.5, -4, 2]),
    "lanczos6": lambda t: np.where(abs(t) > 6, 0, np.sinc(t) * np.sinc(t / 6)),
    "box": lambda t: np.where((t >= -0.5) & (t < 0.5), 1.0, 0.0),
    "hermite": lambda t: np.where((t >= -1) & (t < 1), (2 * abs(t) - 3) * t * t + 1, 0),
    "hermite_scaled": lambda t: np.where((t >= -1) & (t < 1), 0.92 * (2 * abs(t) - 3) * t * t + 1, 0),
    "sinc": np.sinc,
    "blackman_window": lambda t: 0.42 + 0.5 * np.cos(math.pi * t) + 0.08 * np.cos(2 * math.pi * t),
    "bessel": lambda t: np.where(t == 0, math.pi / 4, _j1(math.pi * t) * _over(t, 1) / 2),
    "gaussian": lambda t: math.sqrt(2 / math.pi) * np.exp(-2 * t * t),
    "quadratic": lambda t: np.where(abs(t) < 0.5, 0.75 - t * t, np.where(abs(t) < 1.5, 0.5 * (abs(t) - 1.5) ** 2, 0)),
    "mitchell": lambda t: _cubic(t, [7 / 6, -2, 0, 8 / 9], [-7 / 18, 2, -10 / 3, 16 / 9]),
    "catmull_rom_half": lambda t: _cubic(t, [1.5, -2.5, 0, 1], [-0.5, 2.5, -4, 2]),
}


def rotation(size, angle, keep_size, turn=None):
    """Where each pixel of the turned image comes from. `turn`, in radians, is the other way round than degrees."""
    width, height = size
    turn = float(SINGLE(SINGLE(-angle) * SINGLE(1.5707964) / SINGLE(90))) if turn is None else turn
    cosine, sine = SINGLE(math.cos(turn)), SINGLE(math.sin(turn))
    x = np.array([-0.5, width - 0.5, -0.5, width - 0.5], SINGLE)
    y = np.array([-0.5, -0.5, height - 0.5, height - 0.5], SINGLE)
    if not keep_size:
        x, y = x * cosine - y * sine, x * sine + y * cosine
    new_width = int(math.floor(x.max() - x.min() + SINGLE(0.5)))
    new_height = int(math.floor(y.max() - y.min() + SINGLE(0.5)))
    offset_x = (x.min() + x.max() - SINGLE(new_width - 1)) * SINGLE(0.5)
    offset_y = (y.min() + y.max() - SINGLE(new_height - 1)) * SINGLE(0.5)
    back_x = back_y = SINGLE(0)
    if keep_size:
        offset_x, offset_y = offset_x - SINGLE(width * 0.5), offset_y - SINGLE(height * 0.5)
        back_x, back_y = SINGLE(new_width * 0.5), SINGLE(new_height * 0.5)
    ox, oy = np.meshgrid(_counted(offset_x, new_width), _counted(offset_y, new_height))
    return ox * cosine + oy * sine + back_x, oy * cosine - ox * sine + back_y


def turned_onto(image, onto, angle, transparent):
    """The nearest pixels of the image turned by radians, onto a page; alpha blends, or a colour stays away."""
    height, width = image.shape[:2]
    x, y = rotation((width, height), None, False, turn=angle)
    x, y = (a[:onto.shape[0], :onto.shape[1]] for a in (x, y))
    sample = picked(image, np.trunc(x + SINGLE(0.5)).astype(int), np.trunc(y + SINGLE(0.5)).astype(int))
    page = onto[:x.shape[0], :x.shape[1]]
    inside = (x >= 0) & (y >= 0) & (x <= width) & (y <= height)
    result = onto.copy()
    if image.shape[2] == 3:
        inside &= ~at_key(sample, transparent)
        result[:x.shape[0], :x.shape[1]][inside] = sample[inside]
        return result
    alpha = sample[..., 3:].astype(float)
    near, far = (alpha / 255).astype(SINGLE), ((255 - alpha) / 255).astype(SINGLE)
    mixed = np.trunc(colours(sample).astype(SINGLE) * near + colours(page).astype(SINGLE) * far)
    result[:x.shape[0], :x.shape[1]][inside] = np.dstack([mixed, alpha]).astype(np.uint8)[inside]
    return result


def _counted(start, count):
    """start, start + 1, ... each from the one before, in single precision."""
    steps = np.ones(count, SINGLE)
    steps[:1] = start
    return np.add.accumulate(steps, dtype=SINGLE)


def _walk(start, end, step):
    """First point and step of a walk along a line, in 256ths."""
    count = math.dist(start, end) / step
    return [(int(a * 256 + 0.5), int((b - a) / count * 256 + 0.5)) for a, b in zip(start, end)]


def straightened(image, corners, size, interpolate):
    """A quadrilateral (top left, top right, bottom left, bottom right) as a rectangle, walked in 256ths of a pixel."""
    wide = image if image.ndim == 3 else image[..., None]
    source = wide.astype(int)
    top_left, top_right, bottom_left, bottom_right = corners
    result = np.zeros((size[1], size[0]) + wide.shape[2:], np.uint8)
    left = _walk(top_left, bottom_left, math.dist(top_left, bottom_left) / size[1])
    right = _walk(top_right, bottom_right, math.dist(top_right, bottom_right) / size[1])
    for row in range(size[1]):
        ends = [[at + row * step for at, step in line] for line in (left, right)]
        ends = [[int(v / 256) if image.ndim == 2 else v / 256 for v in end] for end in ends]
        (x, step_x), (y, step_y) = _walk(ends[0], ends[1], math.dist(*ends) / size[0])
        for column in range(size[0]):
            px, py = (x + 128) >> 8, (y + 128) >> 8
            if x + 128 >= 256 and y + 128 >= 256 and px <= image.shape[1] - 2 and py <= image.shape[0] - 2:
                if image.ndim == 2 or not interpolate:
                    result[row, column] = source[py, px]
                else:
                    fx, fy, ix, iy = x & 255, y & 255, x >> 8, y >> 8
                    total = (source[iy, ix] * (512 - fy - fx) + source[iy, ix + 1] * (256 - fy + fx) +
                             source[iy + 1, ix] * (256 - fx + fy) + source[iy + 1, ix + 1] * (fy + fx))
                    result[row, column] = ((total >> 2) + 128) >> 8
            x, y = x + step_x, y + step_y
    return result if image.ndim == 3 else result[..., 0]


def rotated(image, angle, method, keep_size):
    """As reals, colours only; pixels from the outer four columns and rows are left at the first pixel's colour."""
    height, width = image.shape[:2]
    x, y = rotation((width, height), angle, keep_size)
    result = np.empty(x.shape + (3,))
    result[...] = image[0, 0, :3]
    inside = (x > 3) & (x < width - 4) & (y > 3) & (y < height - 4)
    result[inside] = sampled(colours(image), x[inside].astype(float), y[inside].astype(float), method)
    return result


def sampled(image, x, y, method):
    """Weighted sums as reals, clamped; whole pixels for the two methods that only pick."""
    if method == "nearest_neighbour":
        return image[np.trunc(y + 0.5).astype(int), np.trunc(x + 0.5).astype(int)].astype(float)
    if method == "integer_bilinear":
        return image[np.trunc(y).astype(int), np.trunc(x).astype(int)].astype(float)
    kernel, reach = SAMPLING[method], 6 if method == "lanczos6" else 2
    column, row = np.floor(x).astype(int), np.floor(y).astype(int)
    height, width = image.shape[:2]
    total = np.zeros(x.shape + image.shape[2:])
    for j in range(1 - reach, reach + 1):
        for i in range(1 - reach, reach + 1):
            at_x, at_y = column + i, row + j
            inside = (at_x >= 0) & (at_x < width) & (at_y >= 0) & (at_y < height)
            pixel = image[np.where(inside, at_y, 0), np.where(inside, at_x, 0)].astype(float)
            weight = kernel(at_x - x) * kernel(at_y - y)
            total += weight[(...,) + (None,) * (image.ndim - 2)] * pixel
    return np.clip(total, 0, 255)


# --- two images

def added(first, second, divisor):
    """At four channels the first three quarters of each row's bytes are summed, alpha among them."""
    sums = first.astype(int) + second
    if divisor == 2:
        sums = sums * 4
    elif divisor:
        sums = np.trunc(sums.astype(SINGLE) / SINGLE(divisor))
    result = np.clip(sums, 0, 255).astype(np.uint8)
    if first.shape[2:] == (4,):
        rows = result.reshape(first.shape[0], -1)
        rows[:, 3 * first.shape[1]:] = 0
    return result


def subtracted(first, second, absolute, clear_alpha):
    """The difference, and how many colour values differ by more than one (at 8 bits none are counted)."""
    difference = first.astype(int) - second
    values = abs(difference) if absolute else np.maximum(difference, 0)
    count = int((colours(values) > 1).sum()) if first.ndim == 3 else 0
    if first.shape[2:] == (4,):
        values[..., 3] = 0 if clear_alpha else 255
    return values.astype(np.uint8), count


def weighted(first, second, first_factor, second_factor, offset):
    sums = (first.astype(SINGLE) * SINGLE(first_factor) + second.astype(SINGLE) * SINGLE(second_factor)) + SINGLE(offset)
    return np.clip(sums, 0, 255).astype(np.uint8)


def scaled(values, factor, offset):
    """In single precision, before it is clamped or floored."""
    return values.astype(SINGLE) * SINGLE(factor) + SINGLE(offset)


def filled_voids(image, opaque):
    """Zero bytes take the mean of their neighbours that are not; whole words at four channels."""
    words = image.ndim == 3 and image.shape[2] == 4
    planes = [image.view("<u4")[..., 0].astype(np.int64)] if words else (
        [image.astype(np.int64)] if image.ndim == 2 else [image[..., c].astype(np.int64) for c in range(3)])
    needed = 3 if image.shape[2:] == (3,) else 1
    for plane in planes:
        for y in range(1, plane.shape[0] - 1):
            for x in range(1, plane.shape[1] - 1):
                near = [int(plane[y, x - 1]), int(plane[y, x + 1]), int(plane[y + 1, x]), int(plane[y - 1, x])]
                found = sum(1 for n in near if n)
                if plane[y, x] or found < needed:
                    continue
                if not words:
                    plane[y, x] = sum(near) // found
                    continue
                total = sum(n & (0x00FFFFFF if opaque else 0xFFFFFFFF) for n in near) & 0xFFFFFFFF
                total -= (total >> 31) << 32
                mean = int(math.copysign(abs(total) // found, total)) & 0xFFFFFFFF
                plane[y, x] = mean | (0xFF000000 if opaque else 0)
    if words:
        return planes[0].astype("<u4").reshape(image.shape[:2] + (1,)).view(np.uint8)
    return planes[0].astype(np.uint8) if image.ndim == 2 else np.stack(planes, axis=-1).astype(np.uint8)


def pasted(source, onto, x, y, mark_voids):
    """Forward mapping: `x`, `y` say where each pixel goes."""
    result = onto.copy()
    height, width = onto.shape[:2]
    wide = source.ndim == 3
    for j in range(source.shape[0]):
        previous = 0
        for i in range(source.shape[1] - (0 if wide else 1)):
            column, row = math.floor(x[j, i] + 0.5), math.floor(y[j, i] + 0.5)
            if not (0 <= column < width and 0 <= row < height):
                continue
            pixel = source[j, i].copy()
            if wide and mark_voids:
                if source.shape[2] == 3:
                    pixel[pixel == 0] = 1
                elif not pixel[:3].any():
                    pixel[0] |= 1
                result[row, column] = pixel
                continue
            if wide and source.shape[2] == 3:
                count = column - previous if previous > 0 else 0
                for n in range(max(count, 0)):
                    result[row, column - n] = pixel
                    if row < height - 1:
                        result[row + 1, column - n] = pixel
                previous = column
            else:
                if column < width - 1:
                    result[row, column + 1] = pixel
                if row < height - 1:
                    result[row + 1, column] = pixel
            result[row, column] = pixel
    return filled_voids(result, True) if wide and mark_voids else result
