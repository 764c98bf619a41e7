#!/usr/bin/python3
"""Lists the cameras present, with the modes of each sensor.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/list_devices.py
"""

import sarvik

SENSORS = ("color", "depth", "ir", "light_ir")


def main():
    with sarvik.Context() as ctx:
        devices = ctx.devices()
        if not devices:
            print("no camera found")
            return 1
        for index, info in enumerate(devices):
            print(f"[{index}] {info.uri}  serial {info.serial}  {info.name}  "
                  f"{info.vendor_id:04x}:{info.product_id:04x}")
            try:
                camera = ctx.open(info)
            except sarvik.Error as error:
                print(f"    cannot open: {error}")
                continue
            with camera:
                for sensor in SENSORS:
                    modes = camera.modes(sensor)
                    if modes:
                        listed = ", ".join(f"{m.width}x{m.height}@{m.fps} {m.pixel_format}" for m in modes)
                        print(f"    {sensor:9s} {listed}")
    return 0


if __name__ == "__main__":
    raise SystemExit(main())
