// The viewer of `vosdump --html`: reads the data block of the page and shows the address
// space as a tree, a type hierarchy, a search and a detail pane. Model texts reach the page
// through textContent and attribute values only, never as markup.
(function () {
  'use strict';

  const CHUNK = 200;          // tree children and table rows rendered at a time
  const SEARCH_LIMIT = 200;   // search results shown
  const ARRAY_LIMIT = 1000;   // array elements shown before "show all"

  const CLASS_NAMES = { 1: 'Object', 2: 'Variable', 4: 'Method', 8: 'ObjectType',
    16: 'VariableType', 32: 'ReferenceType', 64: 'DataType', 128: 'View' };
  const BADGES = { 1: 'O', 2: 'V', 4: 'M', 8: 'OT', 16: 'VT', 32: 'RT', 64: 'DT', 128: 'Vw' };
  const TYPE_GROUPS = [[8, 'Object types'], [16, 'Variable types'], [64, 'Data types'],
    [32, 'Reference types']];

  // Names of namespace-0 nodes that files of companion models name without holding them.
  const KNOWN = {
    'i=84': 'Root', 'i=85': 'Objects', 'i=86': 'Types', 'i=87': 'Views', 'i=88': 'ObjectTypes',
    'i=89': 'VariableTypes', 'i=90': 'DataTypes', 'i=91': 'ReferenceTypes', 'i=2253': 'Server',
    'i=58': 'BaseObjectType', 'i=61': 'FolderType', 'i=62': 'BaseVariableType',
    'i=63': 'BaseDataVariableType', 'i=68': 'PropertyType', 'i=2041': 'BaseEventType',
    'i=76': 'DataTypeEncodingType', 'i=77': 'ModellingRuleType', 'i=78': 'Mandatory',
    'i=80': 'Optional', 'i=11508': 'OptionalPlaceholder', 'i=11510': 'MandatoryPlaceholder',
    'i=1': 'Boolean', 'i=2': 'SByte', 'i=3': 'Byte', 'i=4': 'Int16', 'i=5': 'UInt16',
    'i=6': 'Int32', 'i=7': 'UInt32', 'i=8': 'Int64', 'i=9': 'UInt64', 'i=10': 'Float',
    'i=11': 'Double', 'i=12': 'String', 'i=13': 'DateTime', 'i=14': 'Guid',
    'i=15': 'ByteString', 'i=16': 'XmlElement', 'i=17': 'NodeId', 'i=18': 'ExpandedNodeId',
    'i=19': 'StatusCode', 'i=20': 'QualifiedName', 'i=21': 'LocalizedText', 'i=22': 'Structure',
    'i=23': 'DataValue', 'i=24': 'BaseDataType', 'i=25': 'DiagnosticInfo', 'i=26': 'Number',
    'i=27': 'Integer', 'i=28': 'UInteger', 'i=29': 'Enumeration', 'i=290': 'Duration',
    'i=294': 'UtcTime', 'i=295': 'LocaleId', 'i=296': 'Argument', 'i=7594': 'EnumValueType',
    'i=31': 'References', 'i=32': 'NonHierarchicalReferences',
    'i=33': 'HierarchicalReferences', 'i=34': 'HasChild', 'i=35': 'Organizes',
    'i=36': 'HasEventSource', 'i=37': 'HasModellingRule', 'i=38': 'HasEncoding',
    'i=39': 'HasDescription', 'i=40': 'HasTypeDefinition', 'i=41': 'GeneratesEvent',
    'i=44': 'Aggregates', 'i=45': 'HasSubtype', 'i=46': 'HasProperty', 'i=47': 'HasComponent',
    'i=48': 'HasNotifier', 'i=49': 'HasOrderedComponent', 'i=3065': 'AlwaysGeneratesEvent',
    'i=17603': 'HasInterface', 'i=17604': 'HasAddIn', 'i=24136': 'HasStructuredComponent'
  };
  const KNOWN_INVERSE = {
    'i=33': 'InverseHierarchicalReferences', 'i=34': 'ChildOf', 'i=35': 'OrganizedBy',
    'i=36': 'EventSourceOf', 'i=37': 'ModellingRuleOf', 'i=38': 'EncodingOf',
    'i=39': 'DescriptionOf', 'i=40': 'TypeDefinitionOf', 'i=41': 'GeneratedBy',
    'i=44': 'AggregatedBy', 'i=45': 'SubtypeOf', 'i=46': 'PropertyOf', 'i=47': 'ComponentOf',
    'i=48': 'NotifierOf', 'i=49': 'OrderedComponentOf', 'i=3065': 'AlwaysGeneratedBy',
    'i=17603': 'InterfaceOf', 'i=17604': 'AddInOf', 'i=24136': 'IsStructuredComponentOf'
  };
  // The hierarchical reference types of namespace 0; subtypes in the file are found from them.
  const HIERARCHICAL = [33, 34, 35, 36, 44, 45, 46, 47, 48, 49, 56, 129, 131, 14476, 14936, 15112,
    15296, 15297, 16361, 16362, 17604, 18804, 18805, 19815, 19816, 19817, 19819, 19845, 19846,
    24136, 25238, 25254, 25256, 25262, 25263, 25264, 25345, 32059, 32679];

  const $ = (id) => document.getElementById(id);

  // An element with attributes and children (strings become text nodes).
  function el(tag, attrs, ...children) {
    const e = document.createElement(tag);
    if (attrs) for (const k in attrs) if (attrs[k] !== null && attrs[k] !== undefined) e.setAttribute(k, attrs[k]);
    for (const c of children) if (c !== null && c !== undefined) e.append(c);
    return e;
  }

  // Start-up phases for the benchmark (bench/html_view_bench.py), in ms since navigation.
  const times = window.vosTimes = { script: performance.now() };
  let D;
  try {
    D = JSON.parse($('vos-data').textContent);
  } catch (err) {
    $('detail').append(el('p', { class: 'error' }, 'The data of this page cannot be read: ' + err.message));
    return;
  }
  times.parsed = performance.now();
  const S = D.strings, IDS = D.ids, NODES = D.nodes, R = D.refs;
  const N = NODES.length, M = IDS.length, RC = R.length / 3;
  const str = (j) => S[j] || '';

  // The details of node i (description, value and the other attributes), read from their
  // block when first needed; null when the record has none.
  const CH = D.detail_chunk, detailBlocks = [];
  function details(i) {
    const k = Math.floor(i / CH);
    if (!detailBlocks[k]) {
      const block = document.getElementById('vos-detail-' + k);
      detailBlocks[k] = block ? JSON.parse(block.textContent) : [];
    }
    return detailBlocks[k][i - k * CH] || null;
  }
  document.title = D.file + ' \u2014 address space';

  // ---- Indexes ---------------------------------------------------------------------------

  const idCache = new Map();
  function lookup(text) {
    if (!idCache.has(text)) idCache.set(text, IDS.indexOf(text));
    return idCache.get(text);
  }

  // References by source and by target (ref numbers k: R[3k] source, R[3k+1] target, R[3k+2] type).
  const fwdStart = new Uint32Array(M + 1), invStart = new Uint32Array(M + 1);
  for (let k = 0; k < RC; k++) { fwdStart[R[3 * k] + 1]++; invStart[R[3 * k + 1] + 1]++; }
  for (let i = 0; i < M; i++) { fwdStart[i + 1] += fwdStart[i]; invStart[i + 1] += invStart[i]; }
  const fwd = new Uint32Array(RC), inv = new Uint32Array(RC);
  {
    const fc = fwdStart.slice(0, M), ic = invStart.slice(0, M);
    for (let k = 0; k < RC; k++) { fwd[fc[R[3 * k]]++] = k; inv[ic[R[3 * k + 1]]++] = k; }
  }

  const HAS_SUBTYPE = lookup('i=45'), HAS_TYPEDEF = lookup('i=40');

  // Hierarchical reference types: the known ones and their subtypes.
  const hier = new Uint8Array(M);
  {
    const queue = [], seeds = new Set(HIERARCHICAL.map((n) => 'i=' + n));
    for (let i = 0; i < M; i++) {
      if (IDS[i].charCodeAt(0) === 105 && seeds.has(IDS[i])) { hier[i] = 1; queue.push(i); }
    }
    for (let q = 0; q < queue.length; q++) {
      for (let p = fwdStart[queue[q]]; p < fwdStart[queue[q] + 1]; p++) {
        const k = fwd[p];
        if (R[3 * k + 2] === HAS_SUBTYPE && !hier[R[3 * k + 1]]) { hier[R[3 * k + 1]] = 1; queue.push(R[3 * k + 1]); }
      }
    }
  }

  // The class of every NodeId; one the file does not hold is inferred from how it is used.
  const cls = new Uint8Array(M);
  for (let i = 0; i < N; i++) cls[i] = NODES[i][0];
  for (let pass = 0; pass < 2; pass++) {
    for (let k = 0; k < RC; k++) {
      const s = R[3 * k], t = R[3 * k + 1], ty = R[3 * k + 2];
      if (ty >= N) cls[ty] = 32;
      if (ty === HAS_SUBTYPE && s >= N && cls[t]) cls[s] = cls[t];
      if (ty === HAS_TYPEDEF && t >= N && !cls[t]) cls[t] = cls[s] === 2 ? 16 : 8;
      if (hier[ty] && ty !== HAS_SUBTYPE && s >= N && !cls[s] && pass) cls[s] = 1;
    }
  }
  for (let i = 0; i < N; i++) {
    const dt = NODES[i][4];
    if (dt !== undefined && dt >= N) cls[dt] = 64;
  }

  times.indexed = performance.now();

  // ---- Names -----------------------------------------------------------------------------

  function browseName(i) { return i < N ? str(NODES[i][2]) : (KNOWN[IDS[i]] || ''); }
  function displayName(i) {
    if (i < N) return str(NODES[i][3]) || str(NODES[i][2]) || IDS[i];
    return KNOWN[IDS[i]] || IDS[i];
  }
  function inverseName(ty) {
    const x = ty < N ? details(ty) : null;
    if (x && x.inv) return str(x.inv);
    if (x && x.sym) return displayName(ty);
    return KNOWN_INVERSE[IDS[ty]] || 'inverse ' + displayName(ty);
  }
  function href(i) { return '#' + encodeURIComponent(IDS[i]); }
  function badge(i) {
    const c = cls[i];
    return el('span', { class: 'badge c' + c, title: CLASS_NAMES[c] || 'not in this file' }, BADGES[c] || '?');
  }
  function nodeLink(i) {
    return el('a', { href: href(i), class: i < N ? 'node' : 'node ext' }, badge(i), displayName(i));
  }

  // ---- Hierarchies -----------------------------------------------------------------------

  // Children in the address space: targets of hierarchical references, each once.
  function addressChildren(i) {
    const out = [], seen = new Set();
    for (let p = fwdStart[i]; p < fwdStart[i + 1]; p++) {
      const k = fwd[p], t = R[3 * k + 1];
      if (hier[R[3 * k + 2]] && !seen.has(t)) { seen.add(t); out.push(t); }
    }
    return out;
  }
  function addressHasChildren(i) {
    for (let p = fwdStart[i]; p < fwdStart[i + 1]; p++) if (hier[R[3 * fwd[p] + 2]]) return true;
    return false;
  }
  function hasAddressParent(i) {
    for (let p = invStart[i]; p < invStart[i + 1]; p++) if (hier[R[3 * inv[p] + 2]]) return true;
    return false;
  }
  function addressParents(i) {
    const out = [];
    for (let p = invStart[i]; p < invStart[i + 1]; p++) {
      const k = inv[p];
      if (hier[R[3 * k + 2]]) out.push(R[3 * k]);
    }
    return out;
  }
  function subtypes(i) {
    const out = [];
    for (let p = fwdStart[i]; p < fwdStart[i + 1]; p++) {
      const k = fwd[p];
      if (R[3 * k + 2] === HAS_SUBTYPE) out.push(R[3 * k + 1]);
    }
    return out;
  }
  function hasSubtypes(i) {
    for (let p = fwdStart[i]; p < fwdStart[i + 1]; p++) if (R[3 * fwd[p] + 2] === HAS_SUBTYPE) return true;
    return false;
  }
  function hasSupertype(i) {
    for (let p = invStart[i]; p < invStart[i + 1]; p++) if (R[3 * inv[p] + 2] === HAS_SUBTYPE) return true;
    return false;
  }
  function supertypes(i) {
    const out = [];
    for (let p = invStart[i]; p < invStart[i + 1]; p++) {
      const k = inv[p];
      if (R[3 * k + 2] === HAS_SUBTYPE) out.push(R[3 * k]);
    }
    return out;
  }

  // Top level of the address space: Root, and the nodes of other namespaces that the file's
  // nodes hang below (all of them when the file does not hold Root); then, as a group, the
  // nodes of the file that no hierarchical reference reaches.
  const ROOT = lookup('i=84');
  const addressTop = new Set();
  const addressRoots = [], orphans = [];
  if (ROOT >= 0) addressRoots.push(ROOT);
  for (let i = 0; i < M; i++) {
    if (i === ROOT || hasAddressParent(i)) continue;
    if (i < N) orphans.push(i);
    else if (addressHasChildren(i)) addressRoots.push(i);
  }
  for (const i of addressRoots.concat(orphans)) addressTop.add(i);
  if (orphans.length) addressRoots.push({ title: 'Outside the hierarchy', list: orphans });
  times.roots = performance.now();
  // Type hierarchy: the types without supertype, by class.
  const typeRoots = new Map(TYPE_GROUPS.map(([c]) => [c, []]));
  for (let i = 0; i < M; i++) {
    const list = typeRoots.get(cls[i]);
    if (list && (i < N || hasSubtypes(i)) && !hasSupertype(i)) list.push(i);
  }

  times.typeRoots = performance.now();

  // A path from a top-level node down to `node` (breadth first, upwards), or null.
  function pathTo(node, parents, isTop) {
    if (isTop(node)) return [node];
    const prev = new Map([[node, -1]]);
    const queue = [node];
    for (let q = 0; q < queue.length; q++) {
      for (const p of parents(queue[q])) {
        if (prev.has(p)) continue;
        prev.set(p, queue[q]);
        if (isTop(p)) {
          const path = [p];
          for (let c = prev.get(p); c !== -1; c = prev.get(c)) path.push(c);
          return path;
        }
        queue.push(p);
      }
    }
    return null;
  }
  const typeTop = new Set([].concat(...typeRoots.values()));
  const addressPath = (i) => pathTo(i, addressParents, (x) => addressTop.has(x));
  const typePath = (i) => pathTo(i, supertypes, (x) => typeTop.has(x));

  // ---- Tree (WAI-ARIA tree pattern, children rendered when expanded) -----------------------

  // One tree view. An entry is a node number, or a group {title, list} at the top.
  class Tree {
    constructor(ul, roots, children, hasChildren, path, onSelect) {
      this.ul = ul;
      this.children = children;
      this.hasChildren = hasChildren;
      this.path = path;
      this.onSelect = onSelect;
      this.selected = null;
      this.focused = null;
      this.rootItem = { kids: roots, shown: 0, group: ul, level: 0, parent: null };
      this.renderMore(this.rootItem);
      const first = ul.querySelector('[role=treeitem]');
      if (first) this.setFocusable(first);
      ul.addEventListener('click', (e) => this.onClick(e));
      ul.addEventListener('dblclick', (e) => {
        const li = e.target.closest('[role=treeitem]');
        if (li && li.item && !li.item.more && !e.target.closest('.tw')) this.toggle(li.item);
      });
      ul.addEventListener('keydown', (e) => this.onKey(e));
    }

    makeItem(entry, parent) {
      const level = parent.level + 1;
      const group = typeof entry === 'object';
      const li = el('li', { role: 'treeitem', tabindex: '-1', 'aria-level': level, 'aria-selected': 'false' });
      const item = { entry, node: group ? -1 : entry, parent, level, li, kids: null, shown: 0, group: null, expanded: false };
      li.item = item;
      const row = el('div', { class: 'row' });
      row.style.paddingLeft = (level - 1) * 1.1 + 0.3 + 'em';
      const expandable = group ? entry.list.length > 0 : this.hasChildren(entry);
      row.append(el('span', { class: 'tw', 'aria-hidden': 'true' }, expandable ? '\u25B8' : ''));
      if (group) {
        row.append(el('span', { class: 'name group' }, entry.title),
          el('span', { class: 'muted' }, String(entry.list.length)));
      } else {
        row.append(badge(entry), el('span', { class: entry < N ? 'name' : 'name ext' }, displayName(entry)),
          el('span', { class: 'muted id' }, IDS[entry]));
      }
      li.append(row);
      if (expandable) li.setAttribute('aria-expanded', 'false');
      return item;
    }

    // Renders the next chunk of an item's children, with a "more" entry while some are left.
    renderMore(item, upTo) {
      const ul = item.group;
      const old = ul.lastElementChild;
      if (old && old.item && old.item.more) old.remove();
      const end = Math.min(item.kids.length, Math.max(item.shown + CHUNK, upTo || 0));
      const frag = document.createDocumentFragment();
      for (let j = item.shown; j < end; j++) frag.append(this.makeItem(item.kids[j], item).li);
      item.shown = end;
      if (end < item.kids.length) {
        const li = el('li', { role: 'treeitem', tabindex: '-1', 'aria-level': item.level + 1, class: 'more' },
          el('div', { class: 'row' }, 'Show ' + Math.min(CHUNK, item.kids.length - end) + ' more (' +
            (item.kids.length - end) + ' not shown)'));
        li.firstChild.style.paddingLeft = item.level * 1.1 + 1.5 + 'em';
        li.item = { more: true, parent: item, li };
        frag.append(li);
      }
      ul.append(frag);
    }

    expand(item) {
      if (!item.li.hasAttribute('aria-expanded')) return;
      if (!item.kids) {
        item.kids = item.node < 0 ? item.entry.list : this.children(item.node);
        item.group = el('ul', { role: 'group' });
        item.li.append(item.group);
        this.renderMore(item);
      }
      item.group.hidden = false;
      item.expanded = true;
      item.li.setAttribute('aria-expanded', 'true');
      item.li.querySelector('.tw').textContent = '\u25BE';
    }
    collapse(item) {
      if (!item.expanded) return;
      item.group.hidden = true;
      item.expanded = false;
      item.li.setAttribute('aria-expanded', 'false');
      item.li.querySelector('.tw').textContent = '\u25B8';
    }
    toggle(item) { if (item.expanded) this.collapse(item); else this.expand(item); }

    setFocusable(li) {
      if (this.focused && this.focused !== li) this.focused.setAttribute('tabindex', '-1');
      li.setAttribute('tabindex', '0');
      this.focused = li;
    }
    focus(li, block) {
      this.setFocusable(li);
      li.focus({ preventScroll: true });
      li.firstChild.scrollIntoView({ block: block || 'nearest' });
    }
    select(item, fromUser) {
      if (this.selected) this.selected.setAttribute('aria-selected', 'false');
      this.selected = item.li;
      item.li.setAttribute('aria-selected', 'true');
      if (item.node >= 0) this.onSelect(item.node, fromUser);
    }
    activate(item) {
      if (item.more) {
        const prev = item.li.previousElementSibling;
        this.renderMore(item.parent);
        const next = prev ? prev.nextElementSibling : null;
        if (next) this.focus(next);
        return;
      }
      this.select(item, true);
    }

    onClick(e) {
      const li = e.target.closest('[role=treeitem]');
      if (!li || !li.item) return;
      this.focus(li);
      if (e.target.closest('.tw') && !li.item.more) this.toggle(li.item);
      else this.activate(li.item);
    }

    // The next visible item after `li` whose name starts with `ch`, wrapping around.
    typeAhead(li, ch) {
      for (let x = this.next(li) || this.ul.firstElementChild; x && x !== li; x = this.next(x) || this.ul.firstElementChild) {
        const name = x.querySelector('.name');
        if (name && name.textContent.toLowerCase().startsWith(ch)) return x;
      }
      return null;
    }

    // The next and the previous visible item.
    next(li) {
      if (li.item.expanded && li.item.group.firstElementChild) return li.item.group.firstElementChild;
      for (let x = li; x; x = x.item.parent.li) {
        if (x.nextElementSibling) return x.nextElementSibling;
        if (!x.item.parent.li) return null;
      }
      return null;
    }
    prev(li) {
      let x = li.previousElementSibling;
      if (!x) return li.item.parent.li || null;
      while (x.item.expanded && x.item.group.lastElementChild) x = x.item.group.lastElementChild;
      return x;
    }
    last() {
      let x = this.ul.lastElementChild;
      while (x && x.item.expanded && x.item.group.lastElementChild) x = x.item.group.lastElementChild;
      return x;
    }

    onKey(e) {
      const li = e.target.closest('[role=treeitem]');
      if (!li || !li.item || e.altKey || e.ctrlKey || e.metaKey) return;
      const item = li.item;
      let target = null;
      switch (e.key) {
        case 'ArrowDown': target = this.next(li); break;
        case 'ArrowUp': target = this.prev(li); break;
        case 'Home': target = this.ul.firstElementChild; break;
        case 'End': target = this.last(); break;
        case 'ArrowRight':
          if (item.more) break;
          if (!item.expanded) this.expand(item);
          else if (item.group.firstElementChild) target = item.group.firstElementChild;
          break;
        case 'ArrowLeft':
          if (item.expanded) this.collapse(item);
          else if (item.parent && item.parent.li) target = item.parent.li;
          break;
        case 'Enter':
          if (!item.more && li.hasAttribute('aria-expanded')) this.toggle(item);
          this.activate(item);
          break;
        case ' ':
          this.activate(item);
          break;
        case '*': {
          const siblings = item.parent.group.children;
          for (const s of siblings) if (s.item && !s.item.more) this.expand(s.item);
          break;
        }
        default:
          if (e.key.length !== 1 || item.more) return;
          target = this.typeAhead(li, e.key.toLowerCase());
      }
      e.preventDefault();
      if (target) {
        this.focus(target);
        if (!target.item.more) this.select(target.item, true);
      }
    }

    // Expands the path to `node` and selects it there; false when the tree has no path to it.
    reveal(node) {
      const path = this.path(node);
      if (!path) return false;
      let item = this.rootItem;
      for (const step of path) {
        let j = item.kids.indexOf(step);
        if (j < 0) {
          // In a group of this level.
          j = item.kids.findIndex((g) => typeof g === 'object' && g.list.includes(step));
          if (j < 0) return false;
          item = this.childAt(item, j);
          this.expand(item);
          j = item.kids.indexOf(step);
        }
        const child = this.childAt(item, j);
        if (step !== node) this.expand(child);
        item = child;
      }
      this.focus(item.li, 'center');
      this.select(item, false);
      return true;
    }
    childAt(item, j) {
      if (j >= item.shown) this.renderMore(item, j + 1);
      return item.group.children[j].item;
    }
  }

  // ---- Detail pane -------------------------------------------------------------------------

  const detail = $('detail');

  function hex(v, width) { return '0x' + (v >>> 0).toString(16).padStart(width || 2, '0'); }
  function bits(v, names) {
    const on = names.filter((n, b) => n && (v & (1 << b)));
    return hex(v) + (on.length ? ' (' + on.join(', ') + ')' : '');
  }
  const ACCESS_LEVEL = ['CurrentRead', 'CurrentWrite', 'HistoryRead', 'HistoryWrite',
    'SemanticChange', 'StatusWrite', 'TimestampWrite'];
  const EVENT_NOTIFIER = ['SubscribeToEvents', '', 'HistoryRead', 'HistoryWrite'];
  const PERMISSIONS = ['Browse', 'ReadRolePermissions', 'WriteAttribute', 'WriteRolePermissions',
    'WriteHistorizing', 'Read', 'Write', 'ReadHistory', 'InsertHistory', 'ModifyHistory',
    'DeleteHistory', 'ReceiveEvents', 'Call', 'AddReference', 'RemoveReference', 'DeleteNode',
    'AddNode'];
  const VALUE_RANKS = { '-3': 'ScalarOrOneDimension', '-2': 'Any', '-1': 'Scalar', '0': 'OneOrMoreDimensions' };
  const EXTENSION_NAMES = { 3: 'generator', 6: 'runtime address', 7: 'documentation', 8: 'XML' };

  function b64bytes(text) {
    const raw = atob(text);
    const bytes = new Uint8Array(raw.length);
    for (let i = 0; i < raw.length; i++) bytes[i] = raw.charCodeAt(i);
    return bytes;
  }
  function extensionText(uri, id, data) {
    const bytes = b64bytes(data);
    if (id === 3 && bytes.length >= 8) {
      // Two strings, each after its 32-bit length: tool name and version.
      const dv = new DataView(bytes.buffer), out = [];
      for (let p = 0; p + 4 <= bytes.length && out.length < 2;) {
        const n = dv.getInt32(p, true);
        if (n < 0 || p + 4 + n > bytes.length) break;
        out.push(new TextDecoder().decode(bytes.subarray(p + 4, p + 4 + n)));
        p += 4 + n;
      }
      if (out.length === 2) return out.join(' ');
    }
    return new TextDecoder().decode(bytes);
  }
  function extensionList(list) {
    const ul = el('ul', { class: 'plain' });
    for (const [uri, id, data] of list) {
      ul.append(el('li', null, el('span', { class: 'muted' }, (EXTENSION_NAMES[id] || 'id ' + id) + ' \u00b7 ' +
        (D.extension_uris[uri] || 'uri ' + uri) + ': '), el('span', { class: 'pre' }, extensionText(uri, id, data))));
    }
    return ul;
  }
  function idRef(j) { return j < M ? nodeLink(j) : String(j); }
  function textIdLink(text) {
    const j = lookup(text);
    return j >= 0 ? el('a', { href: href(j) }, displayName(j) === text ? text : displayName(j) + ' (' + text + ')') : text;
  }
  function rolePermissions(list) {
    const ul = el('ul', { class: 'plain' });
    for (const [role, mask] of list) ul.append(el('li', null, idRef(role), ' ', el('span', { class: 'muted' }, bits(mask, PERMISSIONS))));
    return ul;
  }

  // One decoded scalar of a value, as text or an element.
  function scalar(type, v) {
    if (v === null || v === undefined) return 'null';
    switch (type) {
      case 'Boolean': return v ? 'true' : 'false';
      case 'NodeId': return textIdLink(v);
      case 'StatusCode': return hex(v, 8);
      case 'ByteString': return el('span', { class: 'pre b64' }, v);
      case 'QualifiedName': return v.ns + ':' + v.name;
      case 'LocalizedText':
        return el('span', null, v.locale ? el('span', { class: 'muted' }, '[' + v.locale + '] ') : null, v.text);
      case 'ExpandedNodeId':
        return el('span', null, textIdLink(v.nodeid), v.namespace_uri ? ' in ' + v.namespace_uri : '',
          v.server_index ? ' on server ' + v.server_index : '');
      case 'ExtensionObject':
        return el('span', null, el('span', { class: 'muted' }, 'encoding '), textIdLink(v.encoding),
          el('span', { class: 'muted' }, ', body (' + atob(v.body).length + ' bytes): '),
          el('span', { class: 'pre b64' }, v.body));
      default: return typeof v === 'object' ? JSON.stringify(v) : String(v);
    }
  }
  function valueView(v) {
    if (v === null) return el('span', { class: 'muted' }, 'empty');
    if (!('array' in v)) return el('span', { class: 'value' }, scalar(v.type, v.value));
    const box = el('div', { class: 'value' });
    box.append(el('p', { class: 'muted' }, v.type + '[' + (v.dimensions ? v.dimensions.join('\u00d7') : v.array.length) + ']'));
    const ol = el('ol', { class: 'array', start: '0' });
    const show = (from, to) => {
      for (let j = from; j < to; j++) ol.append(el('li', null, scalar(v.type, v.array[j])));
    };
    show(0, Math.min(v.array.length, ARRAY_LIMIT));
    box.append(ol);
    if (v.array.length > ARRAY_LIMIT) {
      const b = el('button', { type: 'button' }, 'Show all ' + v.array.length + ' elements');
      b.addEventListener('click', () => { show(ARRAY_LIMIT, v.array.length); b.remove(); });
      box.append(b);
    }
    return box;
  }
  function definitionView(def) {
    const box = el('div');
    const structure = [1, 2, 3, 6, 7].includes(def.kind);
    const KINDS = { 1: 'Structure', 2: 'Structure with optional fields', 3: 'Union', 4: 'Enumeration',
      5: 'OptionSet', 6: 'Structure with subtyped values', 7: 'Union with subtyped values' };
    box.append(el('p', null, (KINDS[def.kind] || 'kind ' + def.kind) + (def.name ? ' ' + def.name : '')));
    if (structure) {
      box.append(el('p', { class: 'muted' }, 'Base type ', textIdLink(def.base_type), ', default encoding ', textIdLink(def.default_encoding)));
    }
    if (!def.fields || !def.fields.length) return box;
    const head = structure ? ['Name', 'DataType', 'ValueRank', 'Dimensions', 'Optional', 'Description']
      : ['Name', 'Value', 'DisplayName', 'Description'];
    const table = el('table', { class: 'grid' }, el('thead', null, el('tr', null, ...head.map((h) => el('th', { scope: 'col' }, h)))));
    const body = el('tbody');
    for (const f of def.fields) {
      body.append(el('tr', null, ...(structure
        ? [f.name, textIdLink(f.datatype), String(f.value_rank), f.array_dimensions.join(', '),
          f.is_optional ? 'yes' : '', f.description || '']
        : [f.name, String(f.value), f.display_name || '', f.description || '']).map((c) => el('td', null, c))));
    }
    table.append(body);
    box.append(table);
    return box;
  }

  // A table of references, rendered a chunk at a time.
  function referenceTable(caption, list, forward) {
    const box = el('div', { class: 'refs', 'data-dir': forward ? 'forward' : 'inverse' });
    box.append(el('h3', null, caption + ' (' + list.length + ')'));
    if (!list.length) return box;
    const body = el('tbody');
    const table = el('table', { class: 'grid' }, el('thead', null, el('tr', null,
      el('th', { scope: 'col' }, 'Reference'), el('th', { scope: 'col' }, forward ? 'Target' : 'Source'),
      el('th', { scope: 'col' }, 'NodeId'))), body);
    let shown = 0;
    const more = el('button', { type: 'button' });
    const show = () => {
      const end = Math.min(list.length, shown + CHUNK);
      for (; shown < end; shown++) {
        const k = list[shown], ty = R[3 * k + 2], other = forward ? R[3 * k + 1] : R[3 * k];
        body.append(el('tr', null,
          el('td', null, el('a', { href: href(ty) }, forward ? displayName(ty) : inverseName(ty))),
          el('td', null, nodeLink(other)), el('td', { class: 'id' }, IDS[other])));
      }
      if (shown < list.length) more.textContent = 'Show ' + Math.min(CHUNK, list.length - shown) + ' more of ' + (list.length - shown);
      else more.remove();
    };
    more.addEventListener('click', show);
    box.append(table, more);
    show();
    return box;
  }

  function attributeTable(rows) {
    const body = el('tbody');
    for (const [name, value] of rows) {
      body.append(el('tr', { 'data-attr': name }, el('th', { scope: 'row' }, name), el('td', null, value)));
    }
    return el('table', { class: 'attrs' }, body);
  }

  function breadcrumb(i) {
    const path = addressPath(i);
    if (!path || path.length < 2) return null;
    const nav = el('nav', { class: 'crumbs', 'aria-label': 'Browse path' });
    path.forEach((p, j) => {
      if (j) nav.append(el('span', { class: 'sep', 'aria-hidden': 'true' }, ' / '));
      nav.append(j === path.length - 1 ? el('span', null, browseName(p) || displayName(p)) : el('a', { href: href(p) }, browseName(p) || displayName(p)));
    });
    return nav;
  }

  function showNode(i) {
    const frag = document.createDocumentFragment();
    const c = cls[i];
    frag.append(el('h2', null, badge(i), ' ', el('span', { id: 'detail-name' }, displayName(i))));
    const crumbs = breadcrumb(i);
    if (crumbs) frag.append(crumbs);
    if (i >= N) {
      frag.append(el('p', { class: 'note' }, 'This node is not in the file: only its references are.'));
      frag.append(attributeTable([['NodeId', IDS[i]]]));
    } else {
      const n = NODES[i], x = details(i) || {};
      const rows = [['NodeId', IDS[i]], ['NodeClass', CLASS_NAMES[c] || String(c)],
        ['BrowseName', n[1] + ':' + str(n[2])]];
      if (n[3]) rows.push(['DisplayName', str(n[3])]);
      if (x.d) rows.push(['Description', str(x.d)]);
      if (x.wm !== undefined) rows.push(['WriteMask', hex(x.wm, 8)]);
      if (c === 8 || c === 16 || c === 32 || c === 64) rows.push(['IsAbstract', x.abs ? 'true' : 'false']);
      if (c === 32) {
        rows.push(['Symmetric', x.sym ? 'true' : 'false']);
        if (x.inv) rows.push(['InverseName', str(x.inv)]);
      }
      if (x.en !== undefined) rows.push(['EventNotifier', bits(x.en, EVENT_NOTIFIER)]);
      if (c === 4) rows.push(['Executable', x.exe ? 'true' : 'false']);
      if (x.md !== undefined) rows.push(['MethodDeclarationId', idRef(x.md)]);
      if (n[4] !== undefined) rows.push(['DataType', idRef(n[4])]);
      if (x.vr !== undefined || c === 2 || c === 16) {
        const vr = x.vr === undefined ? -1 : x.vr;
        rows.push(['ValueRank', vr + (VALUE_RANKS[vr] ? ' (' + VALUE_RANKS[vr] + ')' : '')]);
      }
      if (x.ad !== undefined) rows.push(['ArrayDimensions', x.ad.join(', ')]);
      if (x.al !== undefined) rows.push(['AccessLevel', bits(x.al, ACCESS_LEVEL)]);
      if (x.msi !== undefined) rows.push(['MinimumSamplingInterval', String(x.msi)]);
      if (c === 2) rows.push(['Historizing', x.hist ? 'true' : 'false']);
      if (x.ar !== undefined) rows.push(['AccessRestrictions', hex(x.ar, 4)]);
      if (x.rp !== undefined) rows.push(['RolePermissions', rolePermissions(x.rp)]);
      if (x.ext !== undefined) rows.push(['Extensions', extensionList(x.ext)]);
      frag.append(attributeTable(rows));
      if ('v' in x) frag.append(el('h3', null, 'Value', x.v ? el('span', { class: 'muted' }, ' ' + x.v.type) : null), el('div', { id: 'detail-value' }, valueView(x.v)));
      if (x.def) frag.append(el('h3', null, 'Definition'), definitionView(x.def));
    }
    const forward = [], inverse = [];
    for (let p = fwdStart[i]; p < fwdStart[i + 1]; p++) forward.push(fwd[p]);
    for (let p = invStart[i]; p < invStart[i + 1]; p++) inverse.push(inv[p]);
    frag.append(referenceTable('References', forward, true), referenceTable('Inverse references', inverse, false));
    detail.replaceChildren(frag);
    detail.scrollTop = 0;
  }

  function showOverview() {
    const frag = document.createDocumentFragment();
    frag.append(el('h2', null, D.file));
    const gen = D.file_extensions.find((e) => e[1] === 3);
    const rows = [['Format', D.format], ['Created', D.created || '-'], ['Checksum', hex(D.checksum, 8)],
      ['Nodes', String(N)], ['References', String(RC)]];
    if (gen) rows.push(['Written by', extensionText(gen[0], gen[1], gen[2])]);
    if (D.file_extensions.length) rows.push(['File extensions', extensionList(D.file_extensions)]);
    frag.append(attributeTable(rows));
    frag.append(el('h3', null, 'Namespaces'));
    const body = el('tbody');
    for (const [index, uri, version, published, model, counts] of D.namespaces) {
      const nodes = counts.slice(0, 8).reduce((a, b) => a + b, 0);
      body.append(el('tr', null, ...[String(index), uri, version === null ? '-' : version, published,
        model ? 'model' : 'dependency', String(nodes), String(counts[8])].map((c) => el('td', null, c))));
    }
    frag.append(el('table', { class: 'grid' }, el('thead', null, el('tr', null,
      ...['Index', 'URI', 'Version', 'Published', 'Role', 'Nodes', 'References'].map((h) => el('th', { scope: 'col' }, h)))), body));
    const start = addressRoots.find((r) => typeof r === 'number');
    if (start !== undefined) frag.append(el('p', null, 'Start at ', nodeLink(start), ', search above, or browse the tree.'));
    detail.replaceChildren(frag);
  }

  // ---- Wiring --------------------------------------------------------------------------------

  let current = -1;
  function onSelect(node, fromUser) {
    current = node;
    showNode(node);
    const h = href(node);
    if (fromUser && location.hash !== h) history.replaceState(null, '', h);
  }
  const trees = {
    as: new Tree($('tree-as'), addressRoots, addressChildren, addressHasChildren, addressPath, onSelect),
    ty: new Tree($('tree-ty'), TYPE_GROUPS.map(([c, title]) => ({ title, list: typeRoots.get(c) })),
      subtypes, hasSubtypes, typePath, onSelect)
  };
  let active = 'as';

  function showTab(name, focusTab) {
    active = name;
    for (const key of ['as', 'ty']) {
      const on = key === name;
      $('tab-' + key).setAttribute('aria-selected', on ? 'true' : 'false');
      $('tab-' + key).setAttribute('tabindex', on ? '0' : '-1');
      $('tree-' + key).hidden = !on || !$('results').hidden;
    }
    if (focusTab) $('tab-' + name).focus();
  }
  for (const key of ['as', 'ty']) {
    $('tab-' + key).addEventListener('click', () => {
      closeResults();
      showTab(key);
      if (current >= 0) trees[key].reveal(current);
    });
  }
  document.querySelector('.tabs').addEventListener('keydown', (e) => {
    if (e.key === 'ArrowLeft' || e.key === 'ArrowRight') {
      e.preventDefault();
      showTab(active === 'as' ? 'ty' : 'as', true);
    }
  });

  // Selects the node the URL fragment names, in the open tree where it has a place there.
  function fromHash() {
    if (location.hash.length < 2) { current = -1; showOverview(); return; }
    let text;
    try { text = decodeURIComponent(location.hash.slice(1)); } catch (err) { text = location.hash.slice(1); }
    const i = lookup(text);
    if (i < 0) {
      detail.replaceChildren(el('h2', null, 'Not found'), el('p', null, 'No node of this file has the NodeId ', el('code', null, text), '.'));
      return;
    }
    if (!trees[active].reveal(i)) {
      const other = active === 'as' ? 'ty' : 'as';
      if (trees[other].reveal(i)) showTab(other);
      else onSelect(i, false);
    }
  }
  window.addEventListener('hashchange', () => { closeResults(); fromHash(); });
  $('home').addEventListener('click', () => { history.pushState(null, '', location.pathname + location.search); current = -1; showOverview(); });

  // ---- Search ------------------------------------------------------------------------------

  const q = $('q'), results = $('results'), count = $('count');
  let lowerStrings = null, lowerIds = null, timer = 0;

  function closeResults() {
    results.hidden = true;
    $('tree-' + active).hidden = false;
  }
  function search(text) {
    const needle = text.trim().toLowerCase();
    if (!needle) { closeResults(); count.textContent = ''; return; }
    if (!lowerStrings) {
      lowerStrings = S.map((s) => s.toLowerCase());
      lowerIds = IDS.slice(0, N).map((s) => s.toLowerCase());
    }
    // 3 exact, 2 prefix, 1 substring, per string of the table, then per node.
    const rank = new Uint8Array(S.length);
    for (let j = 1; j < S.length; j++) {
      const s = lowerStrings[j];
      rank[j] = s === needle ? 3 : s.startsWith(needle) ? 2 : s.includes(needle) ? 1 : 0;
    }
    const buckets = [[], [], []];
    let total = 0;
    for (let i = 0; i < N; i++) {
      const n = NODES[i], id = lowerIds[i];
      const r = Math.max(rank[n[2]] | 0, rank[n[3]] | 0, id === needle ? 3 : id.startsWith(needle) ? 2 : id.includes(needle) ? 1 : 0);
      if (!r) continue;
      total++;
      if (buckets[3 - r].length < SEARCH_LIMIT) buckets[3 - r].push(i);
    }
    const found = buckets[0].concat(buckets[1], buckets[2]).slice(0, SEARCH_LIMIT);
    count.textContent = total === 0 ? 'No match' : total > found.length
      ? 'First ' + found.length + ' of ' + total + ' matches' : total + (total === 1 ? ' match' : ' matches');
    const frag = document.createDocumentFragment();
    for (const i of found) {
      const parents = addressParents(i);
      frag.append(el('li', null, el('a', { href: href(i), class: 'node' }, badge(i),
        el('span', { class: 'name' }, displayName(i)),
        el('span', { class: 'muted' }, (parents.length ? ' in ' + displayName(parents[0]) + ' \u00b7 ' : ' ') + IDS[i]))));
    }
    results.replaceChildren(frag);
    results.hidden = false;
    $('tree-as').hidden = true;
    $('tree-ty').hidden = true;
  }
  q.addEventListener('input', () => {
    clearTimeout(timer);
    timer = setTimeout(() => search(q.value), N > 50000 ? 150 : 60);
  });
  q.addEventListener('focus', () => { if (q.value.trim()) search(q.value); });
  q.addEventListener('keydown', (e) => {
    if (e.key === 'Escape') { q.value = ''; search(''); }
    else if (e.key === 'Enter') { clearTimeout(timer); search(q.value); const a = results.querySelector('a'); if (a) a.click(); }
    else if (e.key === 'ArrowDown') { const a = results.querySelector('a'); if (a && !results.hidden) { e.preventDefault(); a.focus(); } }
  });
  results.addEventListener('keydown', (e) => {
    const li = e.target.closest('li');
    if (!li) return;
    let t = null;
    if (e.key === 'ArrowDown') t = li.nextElementSibling;
    else if (e.key === 'ArrowUp') { t = li.previousElementSibling; if (!t) { e.preventDefault(); q.focus(); return; } }
    else if (e.key === 'Escape') { e.preventDefault(); q.focus(); return; }
    if (t) { e.preventDefault(); t.querySelector('a').focus(); }
  });
  results.addEventListener('click', (e) => {
    const a = e.target.closest('a');
    if (a && a.getAttribute('href') === location.hash) { e.preventDefault(); closeResults(); fromHash(); }
  });

  // ---- Start -------------------------------------------------------------------------------

  const models = D.namespaces.filter((ns) => ns[4]).map((ns) => ns[1]);
  $('summary').textContent = D.file + ' \u00b7 format ' + D.format + ' \u00b7 ' + N + ' nodes \u00b7 ' +
    RC + ' references \u00b7 ' + (models.length ? models.join(', ') : 'no model namespace');
  times.trees = performance.now();
  fromHash();
  window.vosReady = performance.now();
  document.documentElement.setAttribute('data-ready', String(Math.round(window.vosReady)));
})();
