// Where the picture is inside the room it has, which it fills in one direction only.
export interface Rect { left: number; top: number; width: number; height: number }
export interface Size { width: number; height: number }

// The picture's place in the room; all of the room while its size is not known.
export function letterBox(room: Size, picture: Size): Rect {
  if (!(picture.width > 0 && picture.height > 0)) return { left: 0, top: 0, ...room };
  const scale = Math.min(room.width / picture.width, room.height / picture.height);
  const width = picture.width * scale;
  const height = picture.height * scale;
  return { left: (room.width - width) / 2, top: (room.height - height) / 2, width, height };
}

// A point of the room as parts of the picture, 0 to 1; nothing beside the picture.
export function pointInPicture(place: Rect, x: number, y: number): { x: number; y: number } | undefined {
  const point = { x: (x - place.left) / place.width, y: (y - place.top) / place.height };
  const inside = point.x >= 0 && point.x <= 1 && point.y >= 0 && point.y <= 1;
  return inside ? point : undefined;
}
