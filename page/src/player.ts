// The picture in #screen: which way it is shown, when to begin anew, and why there is none.
import type { App, Player } from './app.js';
import { byId } from './dom.js';
import type { PictureMessage } from './live.js';
import { parameterSets, splitUnits, type ParameterSets } from './media/h264.js';
import { makeDelays } from './media/timeline.js';
import { startVideoElement, videoElementShows } from './media/video_element.js';
import type { Picture, Way, WayEvents } from './media/way.js';
import { startWebCodecs, webCodecsShow } from './media/web_codecs.js';
import { makeStage } from './player_stage.js';
import { startSoundButton } from './player_sound.js';
import { startPictureStatus, type PictureFacts } from './player_status.js';

// ?way=mse or ?way=webcodecs: that one only.
const wanted = new URLSearchParams(location.search).get('way');
const mostFailures = 3;   // of WebCodecs without a picture in between: it will not work here

interface Showing {
  way?: Way;
  choosing: boolean;
  early: Picture[];       // that came while the way was chosen
  failures: number;
}

const leastEarly = 300;

async function chooseWay(sets: ParameterSets, avoidWebCodecs: boolean, events: WayEvents) {
  const codecs = wanted !== 'mse' && !avoidWebCodecs && await webCodecsShow(sets);
  if (codecs) return startWebCodecs(events);
  return wanted !== 'webcodecs' && videoElementShows(sets) ? startVideoElement(sets, events) : undefined;
}

function toPicture(message: PictureMessage): Picture {
  const units = splitUnits(message.accessUnit);
  const sets = message.key ? parameterSets(units) : undefined;
  return { units, key: sets !== undefined, timeUs: message.timeUs, ...(sets && { sets }) };
}

export function startPlayer(app: App): Player {
  const screen = byId('screen', HTMLElement);
  const delays = makeDelays();
  const showing: Showing = { choosing: false, early: [], failures: 0 };
  const facts: PictureFacts = { came: 0, cameAt: -Infinity, waitingSince: undefined, cannotShow: false };
  let shown = 0;
  let leftOut = 0;
  let behindMs = 0;
  const stage = makeStage(screen);
  startPictureStatus(app, screen, facts);
  const sound = startSoundButton(app, screen);

  const stepBack = () => {
    if (showing.way) stage.stepBack(showing.way);
    delete showing.way;
  };
  const eventsFor = (current: () => Way | undefined): WayEvents => ({
    shown: (count, timeUs) => {
      shown += count;
      behindMs = delays.since(timeUs, performance.now());
      const way = current();
      if (!way || way !== showing.way) return;
      if (stage.see(way, shown, behindMs)) showing.failures = 0;
    },
    failed: (why) => {
      const way = current();
      console.warn(`picture: ${way?.name ?? ''}: ${why}`);
      showing.failures++;
      if (way === showing.way) stepBack();
    },
  });
  const begin = async (sets: ParameterSets) => {
    showing.choosing = true;
    let started: Way | undefined;
    try {
      started = await chooseWay(sets, showing.failures >= mostFailures, eventsFor(() => started));
    } catch (error) {
      console.warn(`picture: ${String(error)}`);
    }
    showing.choosing = false;
    facts.cannotShow = !started;
    const early = showing.early.splice(0);
    if (!started || early.length === 0) { started?.end(); return; }
    showing.way = started;
    stage.enter(started);
    for (const picture of early) started.take(picture);
  };
  const show = (picture: Picture) => {
    if (showing.way) { showing.way.take(picture); return; }
    if (showing.choosing && showing.early.length > 0) {
      if (showing.early.length < leastEarly) showing.early.push(picture);
      return;
    }
    if (!picture.sets) {
      facts.waitingSince ??= performance.now();
      leftOut++;
      return;
    }
    facts.waitingSince = undefined;
    showing.early.push(picture);
    if (!showing.choosing) void begin(picture.sets);
  };
  const reset = () => {
    stepBack();
    showing.early = [];
    facts.waitingSince = undefined;
    sound.end();
  };
  const watch = () => { app.live.send({ watch: !document.hidden, sound: sound.wanted() }); };
  sound.onChange(watch);
  document.addEventListener('visibilitychange', () => {
    if (document.hidden) stepBack();
    watch();
  });

  return {
    takePicture: (message) => {
      if (document.hidden) return;
      const now = performance.now();
      facts.came++;
      facts.cameAt = now;
      delays.here(message.timeUs, now);
      if (message.damaged) { leftOut++; return; }
      show(toPicture(message));
    },
    takeSound: ({ frame }) => { sound.take(frame); },
    watch, reset,
    state: () => ({ way: showing.way?.name ?? 'none', shown, leftOut, behindMs }),
  };
}
